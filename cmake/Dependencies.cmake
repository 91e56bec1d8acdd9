# Every library that the project links, by the folder that may use it.
#
# One list feeds three places: linking, the CMake package and the .pc files (cmake/Install.cmake). What only the inside
# of a shared library uses is linked but asked of nobody else.

set(DROVAN_PLATFORM_TARGETS fmt::fmt absl::hash absl::flat_hash_map)
set(DROVAN_PLATFORM_MODULES fmt absl_hash absl_flat_hash_map)
set(DROVAN_MODEL_HEADER_TARGETS nlohmann_json::nlohmann_json)
set(DROVAN_MODEL_HEADER_MODULES nlohmann_json)
set(DROVAN_HEADER_PACKAGES fmt absl nlohmann_json)

set(DROVAN_MODEL_TARGETS absl::strings absl::time protobuf::libprotobuf-lite)
set(DROVAN_YAML_TARGETS yaml-cpp)
set(DROVAN_YANG_TARGETS PkgConfig::libyang absl::flat_hash_map)

foreach(package IN LISTS DROVAN_HEADER_PACKAGES ITEMS Protobuf yaml-cpp)
  find_package(${package} REQUIRED)
endforeach()
# Debian's package of libyang has no CMake package.
find_package(PkgConfig REQUIRED)
pkg_check_modules(libyang REQUIRED IMPORTED_TARGET libyang libpcre2-8)
# Headers only, and in the compiler's default path: nothing to link.
find_package(Boost 1.81 REQUIRED)
