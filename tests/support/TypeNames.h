// The names in a type, in declared order.
#pragma once

#include <string>
#include <vector>

#include "Zyn/Zyn.h"

inline std::vector<std::string> attrNames(Zyn::ZynType type) {
  std::vector<std::string> names;
  for (Zyn::AttributeQIterator attr(type); attr; ++attr) {
    names.emplace_back((*attr).name());
  }
  return names;
}

inline std::vector<std::string> argNames(Zyn::ZynType type) {
  std::vector<std::string> names;
  for (auto name = type.module()->argNameQIterator(type.argListIndex()); name; ++name) {
    names.emplace_back(*name);
  }
  return names;
}
