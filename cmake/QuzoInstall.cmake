# cmake --install: the program, both libraries with their headers, texts, documents, and the files by which CMake and
# pkg-config find the libraries.
include(CMakePackageConfigHelpers)
set(quzo_cmake_dir ${CMAKE_INSTALL_LIBDIR}/cmake/quzo)
set(quzo_include_dir ${CMAKE_INSTALL_INCLUDEDIR}/quzo)

# The program is stripped also without --strip, unless QUZO_STRIP says that somebody else does it (a packager, who keeps
# the symbols apart); the libraries only with --strip.
if(QUZO_BUILD_PROGRAMS)
  if(QUZO_STRIP)
    install(CODE "set(quzo_strip \"\${CMAKE_INSTALL_DO_STRIP}\")\nset(CMAKE_INSTALL_DO_STRIP 1)")
  endif()
  install(TARGETS quzo_program RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
  if(QUZO_STRIP)
    install(CODE "set(CMAKE_INSTALL_DO_STRIP \"\${quzo_strip}\")")
  endif()
endif()

set_target_properties(quzo_shared PROPERTIES EXPORT_NAME shared)
install(TARGETS quzo quzo_shared EXPORT quzo_targets
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
# Not exported: quzo::platform is made of the archive.
install(TARGETS quzoplatform ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(EXPORT quzo_targets FILE quzo-targets.cmake NAMESPACE quzo:: DESTINATION ${quzo_cmake_dir})

include(QuzoHeaders)
foreach(header IN LISTS QUZO_INSTALLED_HEADERS)
  cmake_path(GET header PARENT_PATH room)
  install(FILES ${PROJECT_SOURCE_DIR}/${header} DESTINATION ${quzo_include_dir}/${room})
endforeach()

# Within a major version the interface only grows.
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/quzo-config.cmake.in ${PROJECT_BINARY_DIR}/quzo-config.cmake
  INSTALL_DESTINATION ${quzo_cmake_dir} PATH_VARS CMAKE_INSTALL_DATADIR CMAKE_INSTALL_LIBDIR quzo_include_dir)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/quzo-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/quzo-config.cmake ${PROJECT_BINARY_DIR}/quzo-config-version.cmake
  ${PROJECT_SOURCE_DIR}/cmake/QuzoPlatformTarget.cmake
  DESTINATION ${quzo_cmake_dir})

# From the folder of the pkg-config files to the prefix, so that the whole installation can be moved.
file(RELATIVE_PATH quzo_pc_to_prefix ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
foreach(package quzo quzo-platform)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/${package}.pc.in ${PROJECT_BINARY_DIR}/${package}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${package}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endforeach()

install(DIRECTORY ${PROJECT_SOURCE_DIR}/platform/config/locale DESTINATION ${CMAKE_INSTALL_DATADIR}/quzo)
install(FILES ${PROJECT_SOURCE_DIR}/README.md ${PROJECT_SOURCE_DIR}/CHANGELOG.md ${PROJECT_SOURCE_DIR}/LICENSE
  DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(FILES ${PROJECT_SOURCE_DIR}/packaging/QUZO-MIB.txt DESTINATION ${CMAKE_INSTALL_DATADIR}/snmp/mibs)
if(QUZO_BUILD_PROGRAMS)
  include(QuzoServices)
endif()
install(FILES ${PROJECT_SOURCE_DIR}/packaging/QUZO-MIB.txt ${PROJECT_SOURCE_DIR}/packaging/quzo.logrotate
  DESTINATION ${CMAKE_INSTALL_DOCDIR}/packaging)

# Completion in shells. Debian's zsh looks into zsh/vendor-completions, others into zsh/site-functions.
set(QUZO_ZSH_COMPLETION_DIR ${CMAKE_INSTALL_DATADIR}/zsh/site-functions CACHE STRING "Where zsh looks for completions")
if(QUZO_BUILD_PROGRAMS)
  install(FILES ${PROJECT_SOURCE_DIR}/packaging/completions/quzo.bash
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME quzo)
  install(FILES ${PROJECT_SOURCE_DIR}/packaging/completions/_quzo DESTINATION ${QUZO_ZSH_COMPLETION_DIR})
  install(FILES ${PROJECT_SOURCE_DIR}/packaging/completions/quzo.fish
    DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d)
endif()

install(DIRECTORY ${PROJECT_SOURCE_DIR}/docs ${PROJECT_SOURCE_DIR}/examples DESTINATION ${CMAKE_INSTALL_DOCDIR}
  PATTERN "quzo-objects.db*" EXCLUDE
  PATTERN "quzo-spool" EXCLUDE)

# Manual pages; their scdoc sources stay at home.
if(quzo_pages)
  install(DIRECTORY ${PROJECT_BINARY_DIR}/share/man/ DESTINATION ${CMAKE_INSTALL_MANDIR}
    FILES_MATCHING PATTERN "*.[1-8]" PATTERN "made" EXCLUDE PATTERN "scdoc" EXCLUDE)
endif()
