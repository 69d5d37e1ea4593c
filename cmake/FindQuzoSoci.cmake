# SOCI with the client libraries of both databases, as the target quzo::soci. Debian's SOCI has no CMake or pkg-config
# file, and its headers need Boost's.
find_package(PkgConfig QUIET)
pkg_check_modules(LIBPQ QUIET IMPORTED_TARGET GLOBAL libpq)
pkg_check_modules(SQLITE3 QUIET IMPORTED_TARGET GLOBAL sqlite3)
find_path(SOCI_INCLUDE_DIR soci/soci.h)
find_path(BOOST_INCLUDE_DIR boost/version.hpp)
set(quzo_soci_libraries "")
foreach(part postgresql sqlite3 core)
  find_library(SOCI_${part}_LIBRARY soci_${part})
  list(APPEND quzo_soci_libraries ${SOCI_${part}_LIBRARY})
endforeach()
mark_as_advanced(SOCI_INCLUDE_DIR BOOST_INCLUDE_DIR SOCI_postgresql_LIBRARY SOCI_sqlite3_LIBRARY SOCI_core_LIBRARY)

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(QuzoSoci REQUIRED_VARS SOCI_core_LIBRARY SOCI_postgresql_LIBRARY
                                  SOCI_sqlite3_LIBRARY SOCI_INCLUDE_DIR BOOST_INCLUDE_DIR LIBPQ_FOUND SQLITE3_FOUND)
if(QuzoSoci_FOUND AND NOT TARGET quzo::soci)
  add_library(quzo::soci INTERFACE IMPORTED GLOBAL)
  target_include_directories(quzo::soci SYSTEM INTERFACE ${SOCI_INCLUDE_DIR} ${BOOST_INCLUDE_DIR})
  target_link_libraries(quzo::soci INTERFACE ${quzo_soci_libraries} PkgConfig::LIBPQ PkgConfig::SQLITE3)
endif()
