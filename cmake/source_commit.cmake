# source_commit(VARIABLE): the first 12 digits of the commit that the source
# tree is at; "" when it is no git checkout, or part of another one (a tree that
# was unpacked inside somebody's packaging repository). A new commit makes the
# build configure itself again.
function(source_commit variable)
  set(${variable} "" PARENT_SCOPE)
  find_program(ZELK_GIT git)
  mark_as_advanced(ZELK_GIT)
  if(NOT ZELK_GIT OR NOT EXISTS ${PROJECT_SOURCE_DIR}/.git)
    return()
  endif()
  execute_process(
    COMMAND ${ZELK_GIT} rev-parse --verify --short=12 HEAD
    WORKING_DIRECTORY ${PROJECT_SOURCE_DIR}
    OUTPUT_VARIABLE commit OUTPUT_STRIP_TRAILING_WHITESPACE
    ERROR_QUIET RESULT_VARIABLE failed)
  if(failed)
    return()
  endif()
  execute_process(
    COMMAND ${ZELK_GIT} rev-parse --path-format=absolute --git-path logs/HEAD
    WORKING_DIRECTORY ${PROJECT_SOURCE_DIR}
    OUTPUT_VARIABLE log OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
  if(EXISTS "${log}")
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${log})
  endif()
  string(SUBSTRING "${commit}" 0 12 commit)
  set(${variable} ${commit} PARENT_SCOPE)
endfunction()
