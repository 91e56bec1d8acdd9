// What the tests of yang/ share: modules loaded, texts read through the decoder, results as one readable text.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "Drovan/ZynKeyDecoder.h"
#include "model/Value.h"
#include "yang/Yang.h"

namespace YangTest {

using Drovan::ZynKeyDecoder;
using KeyElemNode = ZynKeyDecoder::KeyElemNode;

inline Yang::Loaded loaded(std::vector<std::string> const& folders, std::vector<std::string> const& modules,
                           Yang::Options const& options = {}) {
  auto result = Yang::load(folders, modules, options);
  if (!result) {
    throw std::runtime_error(testing::PrintToString(result.error()));
  }
  return *std::move(result);
}

/** One text as a value of the type, by the decoder; null when it does not fit. */
inline Velko::Ptr<Zyn::GenericIf> read(Zyn::ZynType type, std::string_view text, std::string* error = nullptr) {
  KeyElemNode node(type, false);
  if (auto const done = node.insertPathSuffix({}, {}, Velko::String(text)); !done) {
    if (error != nullptr) {
      *error = done.error().view();
    }
    return nullptr;
  }
  return node.value;
}

/** The text of what a value holds: of a union that of the alternative. */
inline std::string canonical(Model::ValuePtr value) {
  while (Model::kindOf(Model::typeOf(*value)) == Model::Kind::Union) {
    Model::ValuePtr held;
    for (Zyn::AttributeQIterator attr(Model::typeOf(*value)); attr && !held; ++attr) {
      held = Model::attribute(*value, *attr);
    }
    value = held;
  }
  return Model::as<std::string>(*value);
}

/** Follows attributes by name. */
inline Zyn::ZynAttr attrAt(Zyn::ZynType root, std::vector<std::string_view> const& names) {
  Zyn::ZynAttr attr;
  for (std::string_view const name : names) {
    attr = root.attr(name);
    root = attr.attrType();
  }
  return attr;
}

}  // namespace YangTest
