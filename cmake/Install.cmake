# What is installed for programs outside this tree, and where from: the libraries, how CMake and
# pkg-config find them, and files that name other installed files.
include(CMakePackageConfigHelpers)

# Programs find our libraries beside them, so that a tree that is installed anywhere works, and can be
# moved. A package for the system's own folders says CMAKE_SKIP_INSTALL_RPATH.
file(RELATIVE_PATH quillpost_libraries_of_programs
  ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
set(CMAKE_INSTALL_RPATH "$ORIGIN/${quillpost_libraries_of_programs}")

# quillpost_export(TARGET DESCRIPTION TEXT [USES TARGETS...] [BOOST COMPONENTS...] [JSONCPP]
#   [DEFINITIONS NAMES...]): installs a shared library with its include/ folder, so that
# find_package(TARGET) gives the target Talvo::NAME, and pkg-config the flags. USES are our own
# libraries that its headers need, the others what else a user has to have and to define.
function(quillpost_export target)
  cmake_parse_arguments(library "JSONCPP" "DESCRIPTION" "USES;BOOST;DEFINITIONS" ${ARGN})
  string(REGEX REPLACE "^Talvo" "" short_name ${target})
  add_library(Talvo::${short_name} ALIAS ${target})
  set_target_properties(${target} PROPERTIES
    VERSION ${PROJECT_VERSION} SOVERSION 0
    EXPORT_NAME ${short_name} INSTALL_RPATH "$ORIGIN")
  target_compile_definitions(${target} PUBLIC ${library_DEFINITIONS})
  install(TARGETS ${target} EXPORT ${target} LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
  install(DIRECTORY include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
  quillpost_install_cmake_package(${target})
  quillpost_install_pkg_config(${target})
endfunction()

function(quillpost_install_cmake_package target)
  set(directory ${CMAKE_INSTALL_LIBDIR}/cmake/${target})
  # The linker wants to see the libraries that ours stand on, too.
  get_target_property(linked ${target} LINK_LIBRARIES)
  list(FILTER linked INCLUDE REGEX "^Talvo")
  set(dependencies "")
  foreach(other ${linked})
    string(APPEND dependencies
      "find_dependency(${other} ${PROJECT_VERSION} HINTS \"\${CMAKE_CURRENT_LIST_DIR}/../${other}\")\n")
  endforeach()
  if(library_BOOST)
    list(JOIN library_BOOST " " components)
    string(APPEND dependencies "find_dependency(Boost 1.74 COMPONENTS ${components})\n")
  endif()
  if(library_JSONCPP)
    string(APPEND dependencies "find_dependency(Threads)\nfind_dependency(PkgConfig)\n"
      "pkg_check_modules(JSONCPP REQUIRED QUIET IMPORTED_TARGET jsoncpp)\n")
  endif()
  set(stem ${CMAKE_CURRENT_BINARY_DIR}/${target}Config)
  configure_file(${PROJECT_SOURCE_DIR}/packaging/LibraryConfig.cmake.in ${stem}.cmake @ONLY)
  # Until 1.0.0 a new MINOR may break what programs rely on.
  write_basic_package_version_file(${stem}Version.cmake COMPATIBILITY SameMinorVersion)
  install(FILES ${stem}.cmake ${stem}Version.cmake DESTINATION ${directory})
  install(EXPORT ${target} FILE ${target}Targets.cmake NAMESPACE Talvo:: DESTINATION ${directory})
endfunction()

function(quillpost_install_pkg_config target)
  set(directory ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
  file(RELATIVE_PATH prefix_from_here
    ${CMAKE_INSTALL_PREFIX}/${directory} ${CMAKE_INSTALL_PREFIX}/.)
  set(requires ${library_USES})
  if(library_JSONCPP)
    list(APPEND requires jsoncpp)
  endif()
  list(JOIN requires ", " requires)
  list(TRANSFORM library_DEFINITIONS PREPEND "-D" OUTPUT_VARIABLE definitions)
  list(JOIN definitions " " definitions)
  list(TRANSFORM library_BOOST PREPEND "-lboost_" OUTPUT_VARIABLE boost)
  list(JOIN boost " " boost)
  configure_file(${PROJECT_SOURCE_DIR}/packaging/library.pc.in ${target}.pc @ONLY)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${target}.pc DESTINATION ${directory})
endfunction()

# quillpost_install_naming(FILE.in DESTINATION): installs FILE with @BINDIR@ replaced by the folder of
# the installed programs. That is known only when it is installed: "cmake --install --prefix".
function(quillpost_install_naming template destination)
  get_filename_component(name ${template} NAME_WLE)
  install(CODE "
    set(BINDIR \"\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_BINDIR}\")
    set(file \"\${CMAKE_INSTALL_PREFIX}/${destination}/${name}\")
    message(STATUS \"Installing: \$ENV{DESTDIR}\${file}\")
    configure_file(\"${PROJECT_SOURCE_DIR}/packaging/${template}\" \"\$ENV{DESTDIR}\${file}\" @ONLY)
    list(APPEND CMAKE_INSTALL_MANIFEST_FILES \"\${file}\")")
endfunction()
