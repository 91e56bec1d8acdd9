// How much of it is a hostile path. Sanitized builds get a tenth: they look for other faults than a square of this.
#pragma once

#include <cstddef>

#ifdef __SANITIZE_ADDRESS__
constexpr std::size_t many = 100'000;
constexpr std::size_t hugeSize = std::size_t{6} << 20U;
#else
constexpr std::size_t many = 1'000'000;
constexpr std::size_t hugeSize = std::size_t{64} << 20U;
#endif
