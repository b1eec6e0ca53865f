# The runtime DLLs beside the product, the installed tree, and the zip made of it.

# --- what a program needs beside it ---

corvane_find_dll(CORVANE_LIBGCC_DLL libgcc_s_dw2-1.dll)
corvane_find_dll(CORVANE_LIBSTDCXX_DLL libstdc++-6.dll)
get_target_property(_ace_dll ACE::ACE IMPORTED_LOCATION)
set(CORVANE_SHIPPED_DLLS "${_ace_dll}" "${CORVANE_LIBGCC_DLL}" "${CORVANE_LIBSTDCXX_DLL}")
set(_runtime_dlls ${CORVANE_SHIPPED_DLLS})
if(CORVANE_HARDENED)
  corvane_find_dll(CORVANE_LIBSSP_DLL libssp-0.dll)
  list(APPEND _runtime_dlls "${CORVANE_LIBSSP_DLL}")
endif()

set(_copied_dlls)
foreach(dll IN LISTS _runtime_dlls)
  cmake_path(GET dll FILENAME name)
  add_custom_command(OUTPUT "${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/${name}"
    COMMAND "${CMAKE_COMMAND}" -E copy "${dll}" "${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/${name}"
    DEPENDS "${dll}" VERBATIM)
  list(APPEND _copied_dlls "${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/${name}")
endforeach()
add_custom_target(corvane_runtime ALL DEPENDS ${_copied_dlls})
add_dependencies(CorvaneCommon corvane_runtime)

# --- third-party notices ---

# Each dependency's folder holds the licence texts that came with it.
set(_notices "CorvaneCommon is built with and shipped beside the software named below.\n")
set(_noticed ACE Boost OpenSSL zlib GCC MinGW-w64)
if(CORVANE_BUILD_AGENT)
  list(APPEND _noticed pugixml)
endif()
foreach(name IN LISTS _noticed)
  find_file(_licence "share/licenses/${name}" PATHS / NO_CACHE)
  if(_licence AND NOT IS_DIRECTORY "${_licence}")
    file(READ "${_licence}" _text)
    string(APPEND _notices "\n==== ${name} ====\n\n${_text}")
  else()
    message(WARNING "No licence text for ${name} found: the package will lack its notice")
  endif()
  unset(_licence)
endforeach()
file(CONFIGURE OUTPUT "${PROJECT_BINARY_DIR}/THIRD-PARTY-NOTICES.txt" CONTENT "@_notices@" @ONLY)

# --- installed tree ---

include(CMakePackageConfigHelpers)
set(_package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/CorvaneCommon")

install(TARGETS CorvaneCommon EXPORT CorvaneCommonTargets
  RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}" ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}"
  INCLUDES DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}")
install(FILES ${CORVANE_SHIPPED_DLLS} DESTINATION "${CMAKE_INSTALL_BINDIR}")
install(FILES "$<TARGET_FILE:CorvaneCommon>.debug" DESTINATION "${CMAKE_INSTALL_BINDIR}" CONFIGURATIONS RelWithDebInfo)
install(DIRECTORY include/ DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}")
install(FILES cmake/Program.rc cmake/Program.manifest DESTINATION "${CMAKE_INSTALL_DATADIR}/CorvaneCommon")
install(FILES CHANGELOG.md docs/abi.md "${PROJECT_BINARY_DIR}/THIRD-PARTY-NOTICES.txt"
  DESTINATION "${CMAKE_INSTALL_DOCDIR}")

# ACE's classes are part of exported ones, so its headers and import library, configured as the DLL's own,
# belong to the SDK. Boost's headers do not depend on how Boost is built; users bring their own.
get_target_property(_ace_include_dir ACE::ACE INTERFACE_INCLUDE_DIRECTORIES)
get_target_property(_ace_implib ACE::ACE IMPORTED_IMPLIB)
install(DIRECTORY "${_ace_include_dir}/ace" DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}")
install(FILES "${_ace_implib}" DESTINATION "${CMAKE_INSTALL_LIBDIR}")
cmake_path(GET _ace_dll FILENAME ACE_DLL_NAME)
cmake_path(GET _ace_implib FILENAME ACE_IMPLIB_NAME)

install(EXPORT CorvaneCommonTargets NAMESPACE CorvaneCommon:: DESTINATION "${_package_dir}")
configure_package_config_file(cmake/CorvaneCommonConfig.cmake.in CorvaneCommonConfig.cmake
  INSTALL_DESTINATION "${_package_dir}")
write_basic_package_version_file(CorvaneCommonConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES "${PROJECT_BINARY_DIR}/CorvaneCommonConfig.cmake"
  "${PROJECT_BINARY_DIR}/CorvaneCommonConfigVersion.cmake" DESTINATION "${_package_dir}")

# --- zip ---

set(CPACK_GENERATOR ZIP)
set(CPACK_PACKAGE_FILE_NAME "CorvaneCommon-${PROJECT_VERSION}-win32")
set(CPACK_PACKAGE_VERSION "${PROJECT_VERSION}")
set(CPACK_VERBATIM_VARIABLES ON)
include(CPack)
