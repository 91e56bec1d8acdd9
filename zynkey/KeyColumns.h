// The key of a collection as columns: one for each of its parts, of one type whatever the key.
//
//   the key type is                        columns
//   one value                              the name of the attribute that holds the key; "key" where there is none
//   built from attributes                  one for each; of those that are built from attributes theirs, joined by "__"
//
//   String "eth0" by name                  name = eth0
//   RouteKey(vrf="red", tag=7)             vrf = red, prefix none, protocol none, tag = 7
//   TunnelKey(from=Endpoint(site=...))     from__site__region, from__site__rack, from__address, ...
//
// A column's type is that of the value: of a wrapper of what it wraps; of a union that of its alternatives where all
// have the same, else text. Values stand in their gNMI form: numbers in decimal, 64 bits exact.
//
// Values only, once made: any thread may read them. They hold handles of the types. Throws `std::bad_alloc` only.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "gnmi/Resolver.h"
#include "model/Schema.h"
#include "model/Value.h"
#include "zynkey/Cells.h"

namespace ZynKey {

struct KeyColumn {
  std::string name;
  /** From the key down to the part; none where the key is one value. */
  std::vector<Zyn::ZynAttr> parts;
  /** A scalar kind; String for all that is text. */
  Model::Kind kind = Model::Kind::String;
};

/** In declaration order; `keyName` is that of the attribute that holds the key. */
std::vector<KeyColumn> keyColumns(Zyn::ZynType keyType, std::string_view keyName);

/** The part of what is selected; null where that leaves it open. */
Model::ValuePtr partOf(Gnmi::Selection const& selection, KeyColumn const& column);

/** The part as a cell. */
void write(Model::ValuePtr const& part, KeyColumn const& column, CellWriter& cells);

/** "UInt16": the type of ClickHouse that holds each value of that kind. */
std::string_view clickHouseType(Model::Kind kind);

}  // namespace ZynKey
