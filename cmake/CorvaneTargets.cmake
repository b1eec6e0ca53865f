# What the project's targets have in common.

find_program(CORVANE_CCACHE ccache)
mark_as_advanced(CORVANE_CCACHE)
if(CORVANE_CCACHE AND NOT DEFINED CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_C_COMPILER_LAUNCHER "${CORVANE_CCACHE}")
  set(CMAKE_CXX_COMPILER_LAUNCHER "${CORVANE_CCACHE}")
endif()

# corvane_find_dll(VARIABLE NAME): a DLL that programs need beside them.
function(corvane_find_dll variable name)
  cmake_path(GET CMAKE_CXX_COMPILER PARENT_PATH compiler_dir)  # where MSYS2 keeps the runtime
  find_file(${variable} "${name}" PATH_SUFFIXES bin HINTS "${compiler_dir}" REQUIRED)
  mark_as_advanced(${variable})
endfunction()

# corvane_configure(TARGET): language level, oldest Windows, warnings, hardening, and source paths without the
# build machine in them. Call it when the target has its sources.
function(corvane_configure target)
  target_compile_features(${target} PUBLIC cxx_std_17)
  set_target_properties(${target} PROPERTIES CXX_EXTENSIONS OFF)
  target_compile_definitions(${target} PRIVATE _WIN32_WINNT=0x0501 WINVER=0x0501)
  target_compile_options(${target} PRIVATE
    $<$<COMPILE_LANGUAGE:CXX>:-Wall;-Wextra;-Wshadow;-Wconversion;-Werror>)
  # GCC 12 gives some functions an empty cold part, and with it unwind tables in which exceptions find no handler: the
  # process ends instead.
  target_compile_options(${target} PRIVATE
    $<$<COMPILE_LANG_AND_ID:CXX,GNU>:-fno-reorder-blocks-and-partition>)
  target_link_options(${target} PRIVATE -Wl,--no-insert-timestamp)  # equal sources give equal binaries
  if(CORVANE_HARDENED)
    target_compile_definitions(${target} PRIVATE _GLIBCXX_ASSERTIONS)
    target_compile_options(${target} PRIVATE
      $<$<COMPILE_LANGUAGE:CXX>:-fsanitize=undefined;-fsanitize-undefined-trap-on-error;-fstack-protector-strong>)
    target_link_options(${target} PRIVATE -fstack-protector-strong)
  endif()
  corvane_map_source_paths(${target})
endfunction()

# Makes __FILE__ and the debug information say "corvane\common\foundation\Text.cpp" wherever the tree lies: a
# build root of two levels, then the path in the tree, with backslashes throughout. The compiler replaces
# prefixes only, so each folder has a mapping of its own; of several that match, the last one wins.
function(corvane_map_source_paths target)
  set(folders "" include include/WindowsAgentCommon include/CorvaneLogger)
  get_target_property(sources ${target} SOURCES)
  get_target_property(base ${target} SOURCE_DIR)
  foreach(source IN LISTS sources)
    cmake_path(ABSOLUTE_PATH source BASE_DIRECTORY "${base}" NORMALIZE)
    cmake_path(RELATIVE_PATH source BASE_DIRECTORY "${PROJECT_SOURCE_DIR}")
    cmake_path(GET source PARENT_PATH folder)
    list(APPEND folders "${folder}")
  endforeach()
  list(REMOVE_DUPLICATES folders)
  foreach(folder IN LISTS folders)
    string(REGEX REPLACE "(.)$" "\\1/" name "${folder}")  # no separator after nothing
    string(REPLACE "/" "\\" name "${name}")
    cmake_path(APPEND PROJECT_SOURCE_DIR "${folder}" "" OUTPUT_VARIABLE path)
    target_compile_options(${target} PRIVATE
      "$<$<COMPILE_LANGUAGE:CXX>:-ffile-prefix-map=${path}=corvane\\common\\${name}>")
  endforeach()
endfunction()

# corvane_split_debug_info(TARGET): moves debug information into TARGET's file name + ".debug" beside it, where
# a debugger finds it, in the build that is shipped.
function(corvane_split_debug_info target)
  if(NOT CMAKE_BUILD_TYPE STREQUAL "RelWithDebInfo")
    return()
  endif()
  set(file "$<TARGET_FILE:${target}>")
  get_target_property(type ${target} TYPE)
  set(extension dll)
  if(type STREQUAL "EXECUTABLE")
    set(extension exe)
  endif()
  add_custom_command(TARGET ${target} POST_BUILD
    COMMAND "${CMAKE_OBJCOPY}" --only-keep-debug "${file}" "${file}.debug"
    COMMAND "${CMAKE_OBJCOPY}" --strip-debug "--add-gnu-debuglink=${file}.debug" "${file}"
    BYPRODUCTS "${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/${target}.${extension}.debug"
    VERBATIM)
endfunction()

# corvane_add_program(TARGET SOURCES...): an executable that declares the Windows versions it knows, without
# which Windows 8.1 and later do not tell it theirs.
function(corvane_add_program target)
  add_executable(${target} ${ARGN} "${PROJECT_SOURCE_DIR}/cmake/Program.rc")
  corvane_configure(${target})
endfunction()
