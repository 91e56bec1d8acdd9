// The decoder at work on a type system that it has never seen.
#include <Drovan/ZynKeyDecoder.h>

#include <iostream>

#include "Types.h"

int main() {
  using Drovan::ZynKeyDecoder;
  ZynKeyDecoder const decoder(Lab::findType("Lab::Network").attr("endpoint"), false);

  ZynKeyDecoder::KeyElemNode root(decoder.collectionAttr.keyType(), false);
  for (auto const& [path, value] :
       {std::pair("key__host", "say \"hi\""), {"key__port", "8080"}, {"key__note", "new"}}) {
    (void)decoder.processKeyPath(root, path, value);
  }
  if (root.instantiate()) {
    std::cout << Lab::print(*root.value) << '\n';
  }

  ZynKeyDecoder::FilterMap filter;
  (void)decoder.updateFilter(filter, "port", "http");
  for (auto const& [attr, value] : filter) {
    std::cout << attr.name() << ": " << Lab::print(*value) << '\n';
  }

  ZynKeyDecoder::KeyElemNode incomplete(decoder.collectionAttr.keyType(), false);
  (void)decoder.processKeyPath(incomplete, "key__host", "a");
  if (auto const done = incomplete.instantiate(); !done) {
    std::cout << done.error().view() << '\n';
  }
  if (auto const key = decoder.decodeScalarKey(Lab::findType("Zyn::U16"), "key", "70000"); !key) {
    std::cout << key.error().view() << '\n';
  }
}
