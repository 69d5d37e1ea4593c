# The name by which the dynamic loader finds a shared library: quzo_soname(/usr/lib/.../libx.so NAME) sets NAME to "libx.so.4".
function(quzo_soname library result)
  execute_process(COMMAND ${CMAKE_OBJDUMP} -p ${library} OUTPUT_VARIABLE headers COMMAND_ERROR_IS_FATAL ANY)
  if(NOT headers MATCHES "SONAME +([^\n ]+)")
    message(FATAL_ERROR "${library} has no name to load it by")
  endif()
  set(${result} ${CMAKE_MATCH_1} PARENT_SCOPE)
endfunction()
