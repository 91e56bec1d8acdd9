# Every library that the project links, by the folder that may use it.
#
# One list feeds three places: linking here, the CMake package and the .pc files (cmake/Install.cmake).

set(DROVAN_PLATFORM_TARGETS fmt::fmt absl::hash absl::flat_hash_map)
set(DROVAN_PLATFORM_MODULES fmt absl_hash absl_flat_hash_map)
set(DROVAN_PLATFORM_PACKAGES fmt absl)

set(DROVAN_MODEL_TARGETS absl::strings absl::time protobuf::libprotobuf-lite nlohmann_json::nlohmann_json)
set(DROVAN_MODEL_MODULES absl_strings absl_time protobuf-lite nlohmann_json)
set(DROVAN_MODEL_PACKAGES absl Protobuf nlohmann_json)

set(DROVAN_SCHEMA_TARGETS yaml-cpp)
set(DROVAN_SCHEMA_MODULES yaml-cpp)
set(DROVAN_SCHEMA_PACKAGES yaml-cpp)

foreach(package IN LISTS DROVAN_PLATFORM_PACKAGES DROVAN_MODEL_PACKAGES DROVAN_SCHEMA_PACKAGES)
  find_package(${package} REQUIRED)
endforeach()
# Headers only, and in the compiler's default path: nothing to link.
find_package(Boost 1.81 REQUIRED)
