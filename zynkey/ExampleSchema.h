// The schema that the command knows without a file.
#pragma once

#include <string_view>

namespace ZynKey {

/** The text of examples/network.yaml as it was when the command was built. */
extern std::string_view const exampleSchema;

}  // namespace ZynKey
