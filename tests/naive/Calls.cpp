#include "tests/naive/Calls.h"

#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>
#include <string_view>
#include <utility>

#include "Velko/Exception.h"
#include "Velko/Pb.h"
#include "model/Runtime.h"
#include "model/Value.h"

namespace Calls {
namespace {

Log* theLog = nullptr;
// Inside the provider, which asks itself through the same symbols.
int depth = 0;

/** The provider's own definition of a symbol that this program defines as well. */
template <typename Function>
class Next;
template <typename Result, typename... Args>
class Next<Result(Args...)> {
 public:
  explicit Next(char const* symbol) : function_(reinterpret_cast<Result (*)(Args...)>(dlsym(RTLD_NEXT, symbol))) {
    if (function_ == nullptr) {
      std::fprintf(stderr, "the provider does not define %s\n", symbol);
      std::abort();
    }
  }
  Result operator()(Args... args) const {
    Inside const inside;
    return function_(args...);
  }

 private:
  struct Inside {
    Inside() { ++depth; }
    ~Inside() { --depth; }
    Inside(Inside const&) = delete;
    Inside& operator=(Inside const&) = delete;
  };

  Result (*function_)(Args...);
};

bool isWatched() { return theLog != nullptr && depth == 0; }

void ask(char const* what, Zyn::ZynModule const* module, std::uint32_t index, std::string_view name = {}) {
  if (isWatched()) {
    ++theLog->queries[{what, module, index, std::string(name)}];
  }
}
void ask(char const* what, Zyn::ZynTypeBase type, std::string_view name = {}) {
  ask(what, type.module(), type.index(), name);
}
void ask(char const* what, Zyn::ZynAttr attr) { ask(what, attr.module(), attr.index()); }

std::string printed(Zyn::GenericIf const* value) { return value == nullptr ? "no value" : Model::print(*value); }

/** Runs the writer with nothing of what it asks written down. */
template <typename Line>
void write(Line&& line) {
  if (isWatched()) {
    ++depth;
    theLog->lines.push_back(line());
    --depth;
  }
}

enum class Answer { Own, Null };

/** Writes a constructor or setter down. Throws where it is the one to refuse. */
template <typename Refusal = Velko::Exception, typename Line>
Answer call(bool mayBeNull, Line&& line) {
  if (!isWatched()) {
    return Answer::Own;
  }
  write(line);
  if (++theLog->constructed != theLog->refusedCall) {
    return Answer::Own;
  }
  if (theLog->answersNull && mayBeNull) {
    return Answer::Null;
  }
  throw Refusal(Velko::String("refused {} by the test"));
}

std::string flag(bool on) { return on ? "true" : "false"; }

}  // namespace

std::string shown(Query const& query) {
  std::string_view const what = query.what;
  std::string const of = what.starts_with("attribute") ? Zyn::ZynAttr(query.module, 0, query.index).name()
                                                       : Zyn::ZynType(query.module, query.index).name();
  return (of.empty() ? "none" : of) + " " + std::string(what) + (query.name.empty() ? "" : " '" + query.name + "'");
}

Recording::Recording(Log& log) {
  theLog = &log;
  Model::setTraceSink([](Model::Trace const& trace) {
    write([&] {
      return "trace " + std::string(trace.handle) + "/" + std::to_string(trace.level) + " " + std::string(trace.file) +
             " " + std::string(trace.className) + "::" + std::string(trace.function) + ": " + std::string(trace.text);
    });
  });
}

Recording::~Recording() {
  theLog = nullptr;
  Model::setTraceSink({});
}

}  // namespace Calls

namespace Zyn {

using Calls::ask;
using Calls::call;
using Calls::flag;
using Calls::Next;
using Calls::printed;

ArgNameQIterator ZynModule::argNameQIterator(std::uint32_t index) const noexcept {
  static Next<ArgNameQIterator(ZynModule const*, std::uint32_t)> const next("_ZNK3Zyn9ZynModule16argNameQIteratorEj");
  ask("constructor arguments", this, index);
  return next(this, index);
}

ZynAttr ZynTypeBase::attr(char const* name) const noexcept {
  static Next<ZynAttr(ZynTypeBase const*, char const*)> const next("_ZNK3Zyn11ZynTypeBase4attrEPKc");
  ask("lookup by text", *this, name);
  return next(this, name);
}

ZynAttr ZynTypeBase::attr(std::string_view name) const noexcept {
  static Next<ZynAttr(ZynTypeBase const*, std::string_view)> const next(
      "_ZNK3Zyn11ZynTypeBase4attrESt17basic_string_viewIcSt11char_traitsIcEE");
  ask("lookup by view", *this, name);
  return next(this, name);
}

// NOLINTBEGIN(cppcoreguidelines-macro-usage): fourteen functions that differ in nothing but names
#define QUERY(Class, result, query, what, symbol)         \
  result Class::query() const noexcept {                  \
    static Next<result(Class const*)> const next(symbol); \
    ask(what, *this);                                     \
    return next(this);                                    \
  }
// NOLINTEND(cppcoreguidelines-macro-usage)

using Text = char const*;

QUERY(ZynType, Text, name, "name", "_ZNK3Zyn7ZynType4nameEv")
QUERY(ZynType, bool, isValue, "isValue", "_ZNK3Zyn7ZynType7isValueEv")
QUERY(ZynType, bool, isEnumType, "isEnumType", "_ZNK3Zyn7ZynType10isEnumTypeEv")
QUERY(ZynType, bool, hasS4Encoding, "hasS4Encoding", "_ZNK3Zyn7ZynType13hasS4EncodingEv")
QUERY(ZynType, bool, hasGnmiStringForm, "hasGnmiStringForm", "_ZNK3Zyn7ZynType17hasGnmiStringFormEv")
QUERY(ZynType, bool, isUnionType, "isUnionType", "_ZNK3Zyn7ZynType11isUnionTypeEv")
QUERY(ZynType, bool, isScalarKind, "isScalarKind", "_ZNK3Zyn7ZynType12isScalarKindEv")
QUERY(ZynType, bool, isFundamentalString, "isFundamentalString", "_ZNK3Zyn7ZynType19isFundamentalStringEv")
QUERY(ZynType, ZynAttr, valAttr, "valAttr", "_ZNK3Zyn7ZynType7valAttrEv")
QUERY(ZynAttr, Text, name, "attribute name", "_ZNK3Zyn7ZynAttr4nameEv")
QUERY(ZynAttr, ZynType, attrType, "attribute attrType", "_ZNK3Zyn7ZynAttr8attrTypeEv")
QUERY(ZynAttr, bool, isKeyed, "attribute isKeyed", "_ZNK3Zyn7ZynAttr7isKeyedEv")
QUERY(ZynAttr, Text, internalKeyName, "attribute internalKeyName", "_ZNK3Zyn7ZynAttr15internalKeyNameEv")
QUERY(ZynAttr, ZynType, keyType, "attribute keyType", "_ZNK3Zyn7ZynAttr7keyTypeEv")

#undef QUERY

Velko::Ptr<GenericIf> ZynType::genericIf(Velko::String const& text, bool mode) const {
  static Next<Velko::Ptr<GenericIf>(ZynType const*, Velko::String const&, bool)> const next(
      "_ZNK3Zyn7ZynType9genericIfERKN5Velko6StringEb");
  auto const line = [&] {
    return name() + std::string(".genericIf(") + std::string(text.view()) + ", " + flag(mode) + ")";
  };
  return call(true, line) == Calls::Answer::Null ? nullptr : next(this, text, mode);
}

Velko::Ptr<GenericIf> ZynType::genericIf(void const* data, bool mode) const {
  static Next<Velko::Ptr<GenericIf>(ZynType const*, void const*, bool)> const next("_ZNK3Zyn7ZynType9genericIfEPKvb");
  auto const line = [&] {
    return name() + std::string(data == nullptr ? ".genericIf(no data, " : ".genericIf(data, ") + flag(mode) + ")";
  };
  return call(true, line) == Calls::Answer::Null ? nullptr : next(this, data, mode);
}

Velko::Ptr<GenericIf> ZynType::genericIf(GenericIfArgs const& args, bool mode) const {
  static Next<Velko::Ptr<GenericIf>(ZynType const*, GenericIfArgs const&, bool)> const next(
      "_ZNK3Zyn7ZynType9genericIfERKN5boost9container12small_vectorIN5Velko3PtrIKNS_9GenericIfEEELm8ENS4_"
      "9AllocatorIS8_Lb0ENS4_13SmallVectorOfIS8_EEEEvEEb");
  auto const line = [&] {
    std::string list;
    for (Velko::Ptr<GenericIf const> const& arg : args) {
      list += (list.empty() ? "" : ", ") + printed(arg.get());
    }
    return name() + std::string(".genericIf([") + list + "], " + flag(mode) + ")";
  };
  return call(true, line) == Calls::Answer::Null ? nullptr : next(this, args, mode);
}

Velko::Ptr<GenericIf> ZynType::genericIfFromGnmiString(Velko::String const& text, bool mode) const {
  static Next<Velko::Ptr<GenericIf>(ZynType const*, Velko::String const&, bool)> const next(
      "_ZNK3Zyn7ZynType23genericIfFromGnmiStringERKN5Velko6StringEb");
  auto const line = [&] {
    return name() + std::string(".genericIfFromGnmiString(") + std::string(text.view()) + ", " + flag(mode) + ")";
  };
  return call(true, line) == Calls::Answer::Null ? nullptr : next(this, text, mode);
}

Velko::Ptr<GenericIf> ZynType::genericIfFromPbMessage(void* cursor, bool mode) const {
  static Next<Velko::Ptr<GenericIf>(ZynType const*, void*, bool)> const next(
      "_ZNK3Zyn7ZynType22genericIfFromPbMessageEPvb");
  auto const line = [&] {
    auto const& read = *static_cast<Velko::Pb::ReadCursor const*>(cursor);
    return name() + std::string(".genericIfFromPbMessage(") + std::string(read.data, read.length) + " at " +
           std::to_string(read.position) + ", " + flag(mode) + ")";
  };
  call<Velko::Pb::PbReadException>(false, line);
  return next(this, cursor, mode);
}

void ZynAttr::genericIfSet(Velko::Ptr<GenericIf> const& object, Velko::Ptr<GenericIf const> const& key,
                           Velko::Ptr<GenericIf const> const& value) const {
  static Next<void(ZynAttr const*, Velko::Ptr<GenericIf> const&, Velko::Ptr<GenericIf const> const&,
                   Velko::Ptr<GenericIf const> const&)> const
      next("_ZNK3Zyn7ZynAttr12genericIfSetERKN5Velko3PtrINS_9GenericIfEEERKNS2_IKS3_EESA_");
  auto const line = [&] {
    return name() + std::string(".genericIfSet(") + printed(object.get()) + ", " +
           (key ? printed(key.get()) : "no key") + ", " + printed(value.get()) + ")";
  };
  call(false, line);
  next(this, object, key, value);
}

}  // namespace Zyn
