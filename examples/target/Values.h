// Between messages and the tree: typed values and JSON, each leaf by its YANG type.
//
// JSON is that of RFC 7951, for both encodings: 64-bit numbers and decimal64 are strings, an empty leaf is [null]. In
// JSON_IETF names carry their module where it differs from the parent's, and what is read must be of exactly these
// types; JSON has names alone, and numbers are read where strings stand as well. PROTO has one typed value a leaf.
#pragma once

#include <set>
#include <string>

#include "Tree.h"
#include "gnmi.pb.h"

namespace Target {

/** What an answer holds. */
struct Filter {
  gnmi::GetRequest::DataType type = gnmi::GetRequest::ALL;
  /** All, where it is empty. */
  std::set<std::string> modules = {};

  bool takes(DataNode const& leaf) const {
    return (type == gnmi::GetRequest::ALL || (type == gnmi::GetRequest::CONFIG) != leaf.isState) &&
           (modules.empty() || modules.contains(leaf.module));
  }
};

/** Refuses state. */
void checkSettable(DataNode const& node);

/**
 * Reads what a value in a request means for a node into an empty entry: that of a list, or what the entry around the
 * node gets. Throws `Refused`: INVALID_ARGUMENT, or UNIMPLEMENTED for its kind.
 */
void readPayload(DataNode const& node, gnmi::TypedValue const& value, bool isWholeList, Entry& into);

/**
 * What is at a container, or at the entry of a list, as JSON; false where that is nothing that the filter takes. Throws
 * `Refused` where it is more than is allowed.
 */
bool writeJson(DataNode const& node, Entry const& entry, Filter const& filter, gnmi::Encoding encoding,
               Allowance& allowance, gnmi::TypedValue& into);
/** The values of a leaf or leaf-list. */
void writeLeaf(std::span<Leaf const> values, gnmi::Encoding encoding, gnmi::TypedValue& into);

}  // namespace Target
