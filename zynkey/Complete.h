// What a path that is being typed may go on with: for completion in a shell.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "gnmi/Resolver.h"

namespace ZynKey {

/**
 * Longer forms of `text`, each with what follows it: "/vr" -> "/vrf["; "/vrf[" -> "/vrf[name="; "/vrf[name=red]" ->
 * "/vrf[name=red]/"; "/hostn" -> "/hostname ", with a blank where the path ends. None for the value of a key, and where
 * what stands before is no path.
 */
std::vector<std::string> completePath(Gnmi::Resolver const& resolver, std::string_view text);

}  // namespace ZynKey
