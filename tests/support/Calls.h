// What the tests of the decoder over the recording provider share.
#pragma once

#include <string>
#include <string_view>

#include "tests/support/Provider.h"
#include "tests/support/Results.h"

/** A value of the recording provider shows as its number. */
inline std::string Test::shown(Velko::Ptr<Zyn::GenericIf> const& value) { return Recording::nameOf(value.get()); }

namespace Recording {

using Drovan::ZynKeyDecoder;
using Test::childOf;
using Test::KeyElemNode;
using Test::shown;

template <typename Exception>
Fault throws(std::string_view text) {
  return [text] { throw Exception(Velko::String(text)); };
}

/** The call answers null. */
inline void null() {}

inline std::string insert(KeyElemNode& node, std::string_view path, std::string_view value) {
  return shown(Test::insert(node, path, value));
}

inline std::string instantiate(KeyElemNode& node) { return shown(node.instantiate()); }

}  // namespace Recording
