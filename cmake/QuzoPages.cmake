# The manual pages, made of docs/ by scripts/make_pages; with all that is built as the target `pages`. They come into
# build/.../share/man, where `quzo help` finds them beside build/.../bin.
set(QUZO_BUILD_PAGES AUTO CACHE STRING "Make the manual pages: ON, OFF, or AUTO, which does when Python and scdoc are there")
set_property(CACHE QUZO_BUILD_PAGES PROPERTY STRINGS AUTO ON OFF)
set(quzo_pages OFF)
if(QUZO_BUILD_PAGES)
  find_package(Python3 3.11 COMPONENTS Interpreter)
  find_program(QUZO_SCDOC scdoc)
  if(Python3_Interpreter_FOUND AND QUZO_SCDOC)
    set(quzo_pages ON)
  elseif(QUZO_BUILD_PAGES STREQUAL "AUTO")
    message(STATUS "manual pages are left out: they need Python 3.11 and scdoc")
  else()
    message(FATAL_ERROR "QUZO_BUILD_PAGES is ON: the manual pages need Python 3.11 and scdoc")
  endif()
endif()

if(quzo_pages)
  file(GLOB quzo_pages_sources CONFIGURE_DEPENDS
    ${PROJECT_SOURCE_DIR}/docs/*.md ${PROJECT_SOURCE_DIR}/scripts/pages/*.py)
  set(quzo_pages_stamp ${PROJECT_BINARY_DIR}/share/man/made)
  add_custom_command(OUTPUT ${quzo_pages_stamp}
    COMMAND ${CMAKE_COMMAND} -E rm -rf ${PROJECT_BINARY_DIR}/share/man
    COMMAND Python3::Interpreter ${PROJECT_SOURCE_DIR}/scripts/make_pages --scdoc ${QUZO_SCDOC}
      --docdir ${CMAKE_INSTALL_FULL_DOCDIR} ${PROJECT_BINARY_DIR}/share/man ${PROJECT_VERSION}
    COMMAND ${CMAKE_COMMAND} -E touch ${quzo_pages_stamp}
    DEPENDS ${PROJECT_SOURCE_DIR}/scripts/make_pages ${PROJECT_SOURCE_DIR}/packaging/pages.toml ${quzo_pages_sources}
    COMMENT "Manual pages" VERBATIM)
  add_custom_target(pages ALL DEPENDS ${quzo_pages_stamp})
endif()
