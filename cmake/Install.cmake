# What `cmake --install` puts under a prefix: headers, the libraries, the command, a CMake package and .pc files.
#
# The platform's headers go into a folder of their own, because a host with a platform of its own brings its own.
include(CMakePackageConfigHelpers)

set_target_properties(DrovanPlatform PROPERTIES EXPORT_NAME Platform)
set_target_properties(DrovanModel PROPERTIES EXPORT_NAME Model)
set_target_properties(DrovanYaml PROPERTIES EXPORT_NAME Yaml)
set_target_properties(DrovanGnmi PROPERTIES EXPORT_NAME Gnmi)
set_target_properties(DrovanYang PROPERTIES EXPORT_NAME Yang)
set_target_properties(DrovanC PROPERTIES EXPORT_NAME C)

install(TARGETS Drovan DrovanGnmi DrovanC EXPORT DrovanTargets FILE_SET HEADERS FILE_SET adapters)
install(TARGETS DrovanPlatform EXPORT DrovanTargets FILE_SET HEADERS
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/drovan-platform)
install(TARGETS DrovanModel DrovanYaml DrovanYang EXPORT DrovanTargets FILE_SET HEADERS
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/drovan-model)
install(TARGETS zynkey)
install(FILES zynkey/zynkey.bash DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME zynkey)

# As they stand here, so that links between the pages hold.
install(FILES README.md CHANGELOG.md SECURITY.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY docs DESTINATION ${CMAKE_INSTALL_DOCDIR})

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/Drovan)
install(EXPORT DrovanTargets NAMESPACE Drovan:: DESTINATION ${package_dir})
configure_package_config_file(cmake/DrovanConfig.cmake.in DrovanConfig.cmake INSTALL_DESTINATION ${package_dir}
                              NO_SET_AND_CHECK_MACRO NO_CHECK_REQUIRED_COMPONENTS_MACRO)
write_basic_package_version_file(DrovanConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/DrovanConfig.cmake ${PROJECT_BINARY_DIR}/DrovanConfigVersion.cmake
        DESTINATION ${package_dir})

# From the folder of the .pc files back to the prefix, so that an installed tree may be moved.
file(RELATIVE_PATH PC_PREFIX /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
string(REGEX REPLACE "/$" "" PC_PREFIX ${PC_PREFIX})

# name, what it is, libraries, include folders, the other .pc files whose headers ours include, the version where it is
# not the project's
function(install_pc name description library folders requires)
  list(JOIN requires " " REQUIRES)
  list(TRANSFORM folders REPLACE "(.+)" "-I\${prefix}/${CMAKE_INSTALL_INCLUDEDIR}\\1")
  list(JOIN folders " " CFLAGS)
  set(NAME ${name})
  set(DESCRIPTION ${description})
  set(LIBRARY ${library})
  set(VERSION ${ARGN})
  if(NOT VERSION)
    set(VERSION ${PROJECT_VERSION})
  endif()
  configure_file(cmake/library.pc.in ${name}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${name}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endfunction()

install_pc(drovan "Textual collection keys to typed key objects" Drovan "/;/drovan-platform"
           "${DROVAN_PLATFORM_MODULES}")
install_pc(drovan-model "An embedded type system that provides what drovan asks of its platform" DrovanModel
           "/drovan-platform;/drovan-model" "${DROVAN_PLATFORM_MODULES};${DROVAN_MODEL_HEADER_MODULES}")
install_pc(drovan-yaml "YAML schema files for drovan-model" DrovanYaml "/drovan-model" "drovan-model")
install_pc(drovan-gnmi "Selections of keys from gNMI paths" DrovanGnmi "/" "drovan")
install_pc(drovan-yang "YANG modules as schemas for drovan-model" DrovanYang "/drovan-model" "drovan-model")
get_target_property(version DrovanC VERSION)
install_pc(drovan-c "Typed keys of collections, for every language that can call C" drovan-c "/" "" ${version})
