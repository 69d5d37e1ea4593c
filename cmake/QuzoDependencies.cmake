# What quzo stands on; every one is a Debian package (scripts/packages.txt). What the two libraries need is also found by
# quzo-config.cmake.in, for programs that link them. Imported targets are global, so that a project that adds this one
# can link ours.
set(CMAKE_FIND_PACKAGE_TARGETS_GLOBAL ON)
find_package(PkgConfig REQUIRED)
find_package(Threads REQUIRED)
find_package(ICU REQUIRED COMPONENTS uc i18n data)
find_package(fmt REQUIRED)
find_package(spdlog REQUIRED)
find_package(nlohmann_json REQUIRED)
find_package(QuzoSoci REQUIRED)
pkg_check_modules(GMIME REQUIRED IMPORTED_TARGET GLOBAL gmime-3.0)
# Loaded by name when something is sent.
pkg_check_modules(CURL REQUIRED libcurl)
quzo_soname(${CURL_LINK_LIBRARIES} QUZO_LIBCURL)
pkg_check_modules(NETSNMP REQUIRED netsnmp)
quzo_soname(${NETSNMP_LINK_LIBRARIES} QUZO_LIBNETSNMP)
if(QUZO_BUILD_PROGRAMS)
  find_package(tomlplusplus REQUIRED)
  find_package(CLI11 REQUIRED)
  # What a running gateway counts, and the port where it is read.
  pkg_check_modules(PROMETHEUS REQUIRED IMPORTED_TARGET GLOBAL prometheus-cpp-core)
  find_package(civetweb REQUIRED)
  pkg_check_modules(MILTER REQUIRED IMPORTED_TARGET GLOBAL milter)
  pkg_check_modules(RE2 REQUIRED IMPORTED_TARGET GLOBAL re2)
endif()
if(QUZO_BUILD_TESTS)
  find_package(GTest REQUIRED)
endif()
