# quillpost_library(NAME SOURCES... ): a shared platform library with its public include/ folder.
function(quillpost_library name)
  add_library(${name} SHARED ${ARGN})
  target_include_directories(${name} PUBLIC $<BUILD_INTERFACE:${CMAKE_CURRENT_SOURCE_DIR}/include>)
  target_link_libraries(${name} PRIVATE quillpost_options)
endfunction()

# quillpost_schema(TARGET FILE.fbs): generates FILE_generated.h for TARGET's own sources.
function(quillpost_schema target schema)
  get_filename_component(stem ${schema} NAME_WE)
  set(directory ${CMAKE_CURRENT_BINARY_DIR}/generated)
  add_custom_command(
    OUTPUT ${directory}/${stem}_generated.h
    COMMAND ${FLATC} --cpp --scoped-enums -o ${directory} ${CMAKE_CURRENT_SOURCE_DIR}/${schema}
    DEPENDS ${schema}
    COMMENT "Generating ${stem}_generated.h")
  target_sources(${target} PRIVATE ${directory}/${stem}_generated.h)
  target_include_directories(${target} SYSTEM PRIVATE ${directory} ${FLATBUFFERS_INCLUDE_DIR})
endfunction()

# quillpost_program(NAME SOURCES...): a program of apps/.
function(quillpost_program name)
  add_executable(${name} ${ARGN})
  target_link_libraries(${name} PRIVATE quillpost_options)
  install(TARGETS ${name} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endfunction()
