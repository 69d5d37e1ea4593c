# What a machine needs on which quzo runs as a service: units for systemd, the user, the folders, and a configuration with
# which nothing happens to mail yet.
set(QUZO_UNIT_DIR lib/systemd/system CACHE STRING "Folder of the systemd units, below the prefix unless absolute")
set(QUZO_SYSUSERS_DIR lib/sysusers.d CACHE STRING "Folder of what systemd-sysusers reads")
set(QUZO_TMPFILES_DIR lib/tmpfiles.d CACHE STRING "Folder of what systemd-tmpfiles reads")

# Every unit runs in the same sandbox.
set(quzo_sandbox_file ${PROJECT_SOURCE_DIR}/packaging/systemd/sandbox.conf)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${quzo_sandbox_file})
file(READ ${quzo_sandbox_file} quzo_sandbox)
string(STRIP "${quzo_sandbox}" quzo_sandbox)
foreach(unit quzo-milter.service quzo-runner.service quzo-expire.service quzo-expire.timer)
  configure_file(${PROJECT_SOURCE_DIR}/packaging/systemd/${unit}.in ${PROJECT_BINARY_DIR}/packaging/${unit} @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/packaging/${unit} DESTINATION ${QUZO_UNIT_DIR})
endforeach()
install(FILES ${PROJECT_SOURCE_DIR}/packaging/quzo.sysusers DESTINATION ${QUZO_SYSUSERS_DIR} RENAME quzo.conf)
configure_file(${PROJECT_SOURCE_DIR}/packaging/quzo.tmpfiles.in ${PROJECT_BINARY_DIR}/packaging/quzo.tmpfiles @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/packaging/quzo.tmpfiles DESTINATION ${QUZO_TMPFILES_DIR} RENAME quzo.conf)

# The configuration as it comes, to look at and to copy.
set(quzo_config_files quzo.ini policy.toml)
list(TRANSFORM quzo_config_files PREPEND ${PROJECT_SOURCE_DIR}/packaging/config/)
install(FILES ${quzo_config_files} DESTINATION ${CMAKE_INSTALL_DATADIR}/quzo/config)

# And in its place, unless there is one already, or --prefix asks for another place than the one that the program looks at.
install(CODE "
  set(configured_prefix \"${CMAKE_INSTALL_PREFIX}\")
  set(config_dir \"${QUZO_CONFIG_DIR}\")
  set(config_files \"${quzo_config_files}\")")
install(CODE [[
  foreach(file IN LISTS config_files)
    get_filename_component(name ${file} NAME)
    set(place "$ENV{DESTDIR}${config_dir}/${name}")
    if(NOT CMAKE_INSTALL_PREFIX STREQUAL configured_prefix)
      message(STATUS "Not installed, since the prefix is another one: ${place}")
    elseif(EXISTS "${place}")
      message(STATUS "Kept as it is: ${place}")
    else()
      file(INSTALL ${file} DESTINATION "${config_dir}")
    endif()
  endforeach()
]])

# For packagers: what the program loads by name when it needs it, which no tool finds in the program.
file(WRITE ${PROJECT_BINARY_DIR}/packaging/loaded_libraries
  "Loaded ${QUZO_LIBCURL} ${QUZO_LIBNETSNMP}\nPostgresql ${QUZO_SOCI_POSTGRESQL} ${QUZO_LIBPQ}\n")
