# Read behind the project() of a program that uses quzo, and asked when it is configured: nothing of quzo's own making
# came along.
function(check_project)
  foreach(target quzo_program quzohost library_test)
    if(TARGET ${target})
      message(FATAL_ERROR "quzo brings ${target} into a project that uses it")
    endif()
  endforeach()
  get_target_property(options quzo::quzo INTERFACE_COMPILE_OPTIONS)
  if(options OR CMAKE_CXX_STANDARD OR CMAKE_RUNTIME_OUTPUT_DIRECTORY OR CMAKE_CXX_COMPILER_LAUNCHER)
    message(FATAL_ERROR "quzo sets how a project that uses it is compiled: ${options}")
  endif()
endfunction()
cmake_language(DEFER CALL check_project)
