// What libyang's types take, as rules of the model. Only yang/ looks in here.
//
// Numbers, strings, identities, and IPv4 addresses and prefixes in their canonical form are decided here, from what
// libyang has compiled; all else is asked of libyang, whose dictionary then counts the text for a moment. Both may be
// called from any thread: a compiled context does not change, and its dictionary has a lock.
#pragma once

#include <libyang/libyang.h>
#include <libyang/plugins_types.h>

#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "model/Schema.h"

namespace Yang {

/** Lives as long as a schema, or a rule of it, points into it. */
using Context = std::shared_ptr<ly_ctx>;

struct Rule {
  std::shared_ptr<Model::TextRule const> rule;
  /** All canonical texts, where they are known: of identities. They live as long as the rule. */
  std::span<std::string const> names = {};
};

/** What libyang logs on this thread goes nowhere as long as this lives. */
class NoLog {
 public:
  NoLog() { ly_temp_log_options(&options_); }
  ~NoLog() { ly_temp_log_options(nullptr); }
  NoLog(NoLog const&) = delete;
  NoLog& operator=(NoLog const&) = delete;

 private:
  std::uint32_t options_ = 0;
};

/** The elements of one of libyang's arrays, which know their own length. */
template <typename T>
std::span<T const> elements(T const* array) {
  return {array, LY_ARRAY_COUNT(array)};
}

template <typename Type>
Type const& as(lysc_type const& type) {
  return reinterpret_cast<Type const&>(type);
}

/** Takes any text at all: no length, no pattern, nothing of a plugin. */
bool isPlainString(lysc_type const& type);

/** IpAddress or IpPrefix for types whose canonical text the model prints the same for that kind; String for others. */
Model::Kind addressKind(lysc_type const& type);

/** Of an identityref: "module:identity", or several with " or " between. */
std::string identityBase(lysc_type const& type);

/**
 * The rule of a type that is no boolean, enumeration, union, leafref or plain string, for values of `node`: the module
 * of the node is that of an identity that comes without one. `allowUnprefixed` says whether an identity of another
 * module may come without it, too, where it is the only one of its name.
 */
Rule ruleOf(Context const& context, lysc_type const& type, lysc_node const& node, bool allowUnprefixed);

}  // namespace Yang
