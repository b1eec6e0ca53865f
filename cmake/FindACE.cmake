# Finds the ACE library, a DLL with wide characters in its interfaces, and defines the target ACE::ACE.

find_path(ACE_INCLUDE_DIR ace/ACE.h)
find_library(ACE_LIBRARY NAMES ACE libACE)
find_file(ACE_DLL NAMES libACE.dll ACE.dll PATH_SUFFIXES bin)
mark_as_advanced(ACE_INCLUDE_DIR ACE_LIBRARY ACE_DLL)

if(ACE_INCLUDE_DIR AND EXISTS "${ACE_INCLUDE_DIR}/ace/Version.h")
  file(STRINGS "${ACE_INCLUDE_DIR}/ace/Version.h" _ace_version REGEX "define ACE_VERSION ")
  string(REGEX REPLACE ".*\"([0-9.]+)\".*" "\\1" ACE_VERSION "${_ace_version}")
  unset(_ace_version)
endif()

# A narrow build has the same names and other signatures.
if(ACE_INCLUDE_DIR AND EXISTS "${ACE_INCLUDE_DIR}/ace/config.h")
  file(STRINGS "${ACE_INCLUDE_DIR}/ace/config.h" ACE_USES_WCHAR REGEX "define[ \t]+ACE_USES_WCHAR[ \t]+1")
endif()

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(ACE REQUIRED_VARS ACE_LIBRARY ACE_INCLUDE_DIR ACE_DLL ACE_USES_WCHAR VERSION_VAR ACE_VERSION)

if(ACE_FOUND AND NOT TARGET ACE::ACE)
  add_library(ACE::ACE SHARED IMPORTED)
  set_target_properties(ACE::ACE PROPERTIES
    IMPORTED_LOCATION "${ACE_DLL}"
    IMPORTED_IMPLIB "${ACE_LIBRARY}"
    INTERFACE_INCLUDE_DIRECTORIES "${ACE_INCLUDE_DIR}")
endif()
