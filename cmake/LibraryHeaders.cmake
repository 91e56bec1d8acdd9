# Builds with sanitizers read the headers that most libraries begin with once, which saves about a second of processor
# time for each of 80 source files. All other builds show that each file includes what it uses.
add_library(library_headers OBJECT ${CMAKE_CURRENT_LIST_DIR}/LibraryHeaders.cpp)
target_link_libraries(library_headers PRIVATE DrovanPlatform)
target_precompile_headers(library_headers PRIVATE <absl/container/flat_hash_map.h> <absl/container/flat_hash_set.h>
                          <fmt/format.h> <algorithm> <expected> <functional> <map> <memory> <optional> <ranges> <span>
                          <string> <string_view> <variant> <vector> <Zyn/Zyn.h>)
# As with tests_headers, not from ccache, and -fpch-preprocess, which ccache needs: see tests/CMakeLists.txt.
set_target_properties(library_headers PROPERTIES CXX_COMPILER_LAUNCHER "")
foreach(library IN ITEMS Drovan DrovanModel DrovanYaml DrovanGnmi DrovanYang DrovanC zynkey_jobs)
  target_compile_options(${library} PRIVATE -fpch-preprocess)
  target_precompile_headers(${library} REUSE_FROM library_headers)
endforeach()
