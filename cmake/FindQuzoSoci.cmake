# SOCI with SQLite, as the target quzo::soci, and with PostgreSQL's client library too, as quzo::soci_postgresql. Debian's
# SOCI has no CMake or pkg-config file, and its headers need Boost's.
#
# What PostgreSQL needs is loaded by name when a store asks for it (platform/store/postgres_library.h); the names are those
# of the libraries that the headers belong to: QUZO_SOCI_POSTGRESQL and QUZO_LIBPQ. Only tests that speak to a server
# themselves link it.
include(${CMAKE_CURRENT_LIST_DIR}/QuzoSoname.cmake)
find_package(PkgConfig QUIET)
pkg_check_modules(LIBPQ QUIET IMPORTED_TARGET GLOBAL libpq)
pkg_check_modules(SQLITE3 QUIET IMPORTED_TARGET GLOBAL sqlite3)
find_path(SOCI_INCLUDE_DIR soci/soci.h)
find_path(BOOST_INCLUDE_DIR boost/version.hpp)
foreach(part postgresql sqlite3 core)
  find_library(SOCI_${part}_LIBRARY soci_${part})
endforeach()
mark_as_advanced(SOCI_INCLUDE_DIR BOOST_INCLUDE_DIR SOCI_postgresql_LIBRARY SOCI_sqlite3_LIBRARY SOCI_core_LIBRARY)

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(QuzoSoci REQUIRED_VARS SOCI_core_LIBRARY SOCI_postgresql_LIBRARY
                                  SOCI_sqlite3_LIBRARY SOCI_INCLUDE_DIR BOOST_INCLUDE_DIR LIBPQ_FOUND SQLITE3_FOUND)

if(QuzoSoci_FOUND AND NOT TARGET quzo::soci)
  quzo_soname(${SOCI_postgresql_LIBRARY} QUZO_SOCI_POSTGRESQL)
  quzo_soname(${LIBPQ_LINK_LIBRARIES} QUZO_LIBPQ)
  add_library(quzo::soci INTERFACE IMPORTED GLOBAL)
  target_include_directories(quzo::soci SYSTEM INTERFACE ${SOCI_INCLUDE_DIR} ${BOOST_INCLUDE_DIR} ${LIBPQ_INCLUDE_DIRS})
  target_link_libraries(quzo::soci INTERFACE ${SOCI_sqlite3_LIBRARY} ${SOCI_core_LIBRARY} PkgConfig::SQLITE3
                        ${CMAKE_DL_LIBS})
  add_library(quzo::soci_postgresql INTERFACE IMPORTED GLOBAL)
  target_link_libraries(quzo::soci_postgresql INTERFACE quzo::soci ${SOCI_postgresql_LIBRARY} PkgConfig::LIBPQ)
endif()
