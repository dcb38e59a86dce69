# workpiece_library(<name> <STATIC|SHARED> SOURCES ... LINKS ...)
# Declares one of the project's libraries with its alias, include paths, warnings and install rule.
function(workpiece_library name kind)
  cmake_parse_arguments(ARG "" "INCLUDE_DIR" "SOURCES;LINKS" ${ARGN})
  add_library(${name} ${kind} ${ARG_SOURCES})
  add_library(workpiece::${name} ALIAS ${name})
  set_target_properties(${name} PROPERTIES POSITION_INDEPENDENT_CODE ON)
  target_include_directories(${name} PUBLIC
    $<BUILD_INTERFACE:${ARG_INCLUDE_DIR}>
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
  target_compile_options(${name} PRIVATE -Wall -Wextra)
  target_link_libraries(${name} PUBLIC ${ARG_LINKS})
  install(TARGETS ${name} EXPORT workpieceTargets
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
  install(DIRECTORY ${ARG_INCLUDE_DIR}/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
endfunction()
