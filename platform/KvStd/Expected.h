// The result of an operation that can fail on its input: a value, or what was wrong.
//
// `KvStd::Expected<T, E>` is `std::expected<T, E>`: it holds a `T` (nothing for `void`) or an `E`. It owns what it
// holds, allocates nothing of its own, and may be used like any value: one thread at a time.
#pragma once

#if __cplusplus < 202100L
#error "C++23 is needed: compile with -std=c++23"
#endif

#include <expected>

namespace KvStd {

template <typename T, typename E>
using Expected = std::expected<T, E>;

template <typename E>
using Unexpected = std::unexpected<E>;

}  // namespace KvStd
