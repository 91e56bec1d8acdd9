// Requests as JSON text: one object. No document is built of it, so a text that nests deeply takes no more memory.
//
//   accepted   {"op": "decode", "collection": "Vrf.route", "s4": false, "keys": [["key__vrf", "red"]]}
//              {"op": "scalar", "collection": "Device.vlan", "type": "U16", "keys": [["id", "7"]]}
//              {"op": "filter", "collection": "Vrf.route", "keys": [["vrf", "red"], ["tag", "*"]]}
//              {"op": "split", "path": "a__b"}
//              {"op": "path", "path": "/vrf[name=red]/route[vrf=red]", "root": "Device", "s4": false}
//   refused    what is no JSON (invalid UTF-8 included), no object, or longer than one value; a field that is unknown,
//              missing, written twice, of the wrong shape, or not one of the operation; an unknown collection or type
//
// "s4", "type" and "root" may be left out. Fields come in any order.
#pragma once

#include <expected>
#include <string>
#include <string_view>

#include "zynkey/Jobs.h"
#include "zynkey/Names.h"

namespace ZynKey {

/** A request that names what exists, or what is wrong with it; `validate` may still find one. */
std::expected<Request, std::string> readRequest(std::string_view json, Names& names);

}  // namespace ZynKey
