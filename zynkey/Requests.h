// Requests as JSON text: one object. No document is built of it, so a text that nests deeply takes no more memory.
//
//   accepted   {"op": "decode", "collection": "Vrf.route", "s4": false, "keys": [["key__vrf", "red"]]}
//              {"op": "scalar", "collection": "Device.vlan", "type": "U16", "keys": [["id", "7"]]}
//              {"op": "filter", "collection": "Vrf.route", "keys": [["vrf", "red"], ["tag", "*"]]}
//              {"op": "split", "path": "a__b"}
//              {"op": "path", "path": "/vrf[name=red]/route[vrf=red]", "root": "Device", "s4": false}
//              {"op": "path", "prefix": {"origin": "openconfig", "target": "r1"}, "mode": "write",
//               "elem": [{"name": "vrf", "key": {"name": "red"}}], "payload": [["name", "red"]]}
//   refused    what is no JSON (invalid UTF-8 included), no object, or longer than one value; a field that is unknown,
//              missing, written twice, of the wrong shape, or not one of the operation; an unknown collection or type
//
// What is not needed may be left out; fields come in any order. docs/values.md lists them all.
#pragma once

#include <expected>
#include <string>
#include <string_view>

#include "zynkey/Jobs.h"
#include "zynkey/Names.h"

namespace ZynKey {

/** A request, which views `json` and names what exists, or what is wrong with it; `validate` may still find one. */
std::expected<Request, std::string> readRequest(std::string_view json, Names& names);

/** The same, but always by the parser of JSON, which takes several times as long. */
std::expected<Request, std::string> parseRequest(std::string_view json, Names& names);

/** What the parser of JSON says of a text that is none, without its own prefixes and at most 200 bytes of the text. */
std::string parserReason(std::string_view what);

/** "read", "write", "delete", "notify". */
std::expected<Gnmi::Mode, std::string> modeOf(std::string_view name);

}  // namespace ZynKey
