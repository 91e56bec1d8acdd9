// What the program asks of its own type system, beside what platform/ declares.
#pragma once

#include <Zyn/Zyn.h>

#include <string>
#include <string_view>

namespace Lab {

/** An empty handle where there is none. */
Zyn::ZynType findType(std::string_view name);

/** `"red"`, `8080`, `Lab::PortName(number=8080)`. */
std::string print(Zyn::GenericIf const& value);

}  // namespace Lab
