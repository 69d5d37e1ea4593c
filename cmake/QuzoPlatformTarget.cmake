# The target quzo::platform: libquzoplatform with libquzo, which need each other's symbols. Read by the build, for projects
# that add it, and by the installed package. It is made of imported archives, because those alone may need each other
# without quzo::quzo always bringing the platform along.
#
#   quzo_add_platform_target(PLATFORM_ARCHIVE LIBRARY_ARCHIVE INCLUDE_DIRECTORY)
function(quzo_add_platform_target platform library include)
  set(needs PkgConfig::GMIME ICU::uc spdlog::spdlog fmt::fmt quzo::soci Threads::Threads)
  list(TRANSFORM needs REPLACE "(.+)" "$<LINK_ONLY:\\1>")
  add_library(quzo::platform STATIC IMPORTED GLOBAL)
  add_library(quzo::library_of_platform STATIC IMPORTED GLOBAL)
  set_target_properties(quzo::platform PROPERTIES
    IMPORTED_LOCATION ${platform}
    IMPORTED_LINK_INTERFACE_MULTIPLICITY 3
    INTERFACE_LINK_LIBRARIES "$<LINK_ONLY:quzo::library_of_platform>;${needs}"
    INTERFACE_INCLUDE_DIRECTORIES ${include}
    INTERFACE_COMPILE_FEATURES cxx_std_20)
  set_target_properties(quzo::library_of_platform PROPERTIES
    IMPORTED_LOCATION ${library}
    INTERFACE_LINK_LIBRARIES "$<LINK_ONLY:quzo::platform>;$<LINK_ONLY:ICU::uc>")
endfunction()
