#include "tests/support/Provider.h"

#include <cxxabi.h>
#include <fmt/core.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>

#include "Velko/Assert.h"
#include "Velko/Trace.h"

namespace Velko::MemTrack {

class Tracker {
 public:
  std::string tag;
  std::int64_t elements = 0;
};

}  // namespace Velko::MemTrack

namespace Recording {
namespace {

class Module final : public Zyn::ZynModule {
 public:
  Module() = default;
};

class Value final : public Zyn::GenericIf {
 public:
  Value();
  ~Value() override;
  int const number;
};

class Handle final : public Velko::Platform::DebugHandler {
 public:
  void enable(bool on) { enabled_ = on; }
};

struct PlannedFault {
  std::string call;
  int left;
  Fault fault;
};

// Argument lists have numbers of their own, so that no test passes with a type's index in place of its list's.
constexpr std::uint32_t firstArgList = 100'000;
Module const theModule;
Handle theHandle;
World* theWorld = nullptr;
// Rows of a world: at fixed places, for names are handed out.
std::deque<Type> types;
std::deque<Attr> attrs;
std::deque<std::vector<std::uint32_t>> attrsOf;
std::deque<std::vector<char const*>> argNames;
std::vector<PlannedFault> faults;
int made = 0;
int alive = 0;
// Trackers stay: every library remembers those of its tags.
std::deque<Velko::MemTrack::Tracker> trackers;

std::recursive_mutex& mutex() {
  static std::recursive_mutex one;
  return one;
}

/** Writes the line; true when the call is to answer null. A planned fault may throw. */
bool write(std::string line) {
  Fault planned;
  {
    std::scoped_lock const lock(mutex());
    if (theWorld == nullptr) {
      return false;
    }
    for (PlannedFault& fault : faults) {
      if (line.starts_with(fault.call) && --fault.left == 0) {
        planned = fault.fault;
      }
    }
    theWorld->log.push_back(std::move(line));
  }
  if (!planned) {
    return false;
  }
  planned();
  return true;
}

void slab(std::string line) {
  std::scoped_lock const lock(mutex());
  if (theWorld != nullptr) {
    theWorld->slab.push_back(std::move(line));
  }
}

Type const& rowOf(Zyn::ZynTypeBase type) { return types.at(type.index()); }
Attr const& rowOf(Zyn::ZynAttr attr) { return attrs.at(attr.index()); }

std::string nameOf(Zyn::ZynTypeBase type) { return type.empty() ? "none" : rowOf(type).name; }
std::string nameOf(Zyn::ZynAttr attr) { return attr.empty() ? "none" : rowOf(attr).name; }

std::string quoted(std::string_view text) { return '"' + std::string(text) + '"'; }

std::string flag(bool on) { return on ? "true" : "false"; }

std::string counted(Zyn::GenericIf const* value) {
  return value == nullptr ? "null" : fmt::format("{}({})", Recording::nameOf(value), value->useCount());
}

Velko::Ptr<Zyn::GenericIf> make(std::string line) {
  if (write(std::move(line))) {
    return nullptr;
  }
  return theWorld != nullptr && theWorld->answer ? theWorld->answer : Velko::Ptr<Zyn::GenericIf>(new Value());
}

Zyn::ZynAttr find(Zyn::ZynTypeBase type, std::string_view name) {
  if (type.empty()) {
    return {};
  }
  for (std::uint32_t const index : attrsOf.at(type.index())) {
    if (attrs.at(index).name == name) {
      return {&theModule, theWorld->owner.value_or(type.index()), index};
    }
  }
  return {};
}

/** Asked of a type: writes the line and answers what the row says. */
bool ask(Zyn::ZynType type, char const* query, bool Type::* answer) {
  write(nameOf(type) + "." + query);
  return !type.empty() && rowOf(type).*answer;
}

Value::Value()
    : number([] {
        std::scoped_lock const lock(mutex());
        ++alive;
        return ++made;
      }()) {}

Value::~Value() {
  {
    std::scoped_lock const lock(mutex());
    --alive;
  }
  write(fmt::format("drop v{}", number));
}

}  // namespace

void* (*slabAllocation)(std::size_t) = std::malloc;

std::string nameOf(Zyn::GenericIf const* value) {
  return value == nullptr ? "null" : fmt::format("v{}", static_cast<Value const*>(value)->number);
}

World::World() {
  theWorld = this;
  types.clear();
  attrs.clear();
  attrsOf.clear();
  argNames.clear();
  faults.clear();
  made = 0;
}

World::~World() {
  theHandle.enable(false);
  theWorld = nullptr;
  answer = nullptr;
  EXPECT_EQ(values(), 0);
  EXPECT_EQ(elements(), 0);
}

Zyn::ZynType World::type(Type type) {
  types.push_back(std::move(type));
  attrsOf.emplace_back();
  argNames.emplace_back();
  for (std::string const& name : types.back().args) {
    argNames.back().push_back(name.c_str());
  }
  return {&theModule, static_cast<std::uint32_t>(types.size() - 1)};
}

Zyn::ZynAttr World::attr(Zyn::ZynType owner, Attr attr) {
  attrs.push_back(std::move(attr));
  auto const index = static_cast<std::uint32_t>(attrs.size() - 1);
  attrsOf.at(owner.index()).push_back(index);
  return {&theModule, owner.index(), index};
}

Type& World::of(Zyn::ZynType type) { return types.at(type.index()); }
Attr& World::of(Zyn::ZynAttr attr) { return attrs.at(attr.index()); }

void World::fault(std::string call, int nth, Fault fault) {
  faults.push_back({std::move(call), nth, std::move(fault)});
}

std::vector<std::string> World::calls(std::vector<std::string> const& without) const {
  std::vector<std::string> kept;
  std::ranges::copy_if(log, std::back_inserter(kept), [&](std::string const& line) {
    return std::ranges::none_of(without, [&](std::string const& word) { return line.starts_with(word); });
  });
  return kept;
}

std::vector<std::string> World::lines(std::string_view holding) const {
  std::vector<std::string> kept;
  std::ranges::copy_if(log, std::back_inserter(kept),
                       [&](std::string const& line) { return line.find(holding) != std::string::npos; });
  return kept;
}

std::int64_t World::elements() const {
  std::scoped_lock const lock(mutex());
  std::int64_t sum = 0;
  for (Velko::MemTrack::Tracker const& tracker : trackers) {
    EXPECT_GE(tracker.elements, 0) << tracker.tag;
    sum += tracker.elements;
  }
  return sum;
}

int World::values() const {
  std::scoped_lock const lock(mutex());
  return alive;
}

}  // namespace Recording

// ---- what platform/ declares

namespace Zyn {

using namespace Recording;  // NOLINT(google-build-using-namespace): every definition below asks the world

GenericIf::~GenericIf() = default;

ArgNameQIterator ZynModule::argNameQIterator(std::uint32_t index) const noexcept {
  std::uint32_t const type = index - firstArgList;
  write(types.at(type).name + ".argNames");
  return {argNames.at(type).data(), argNames.at(type).size()};
}

ZynAttr ZynTypeBase::attr(char const* name) const noexcept {
  write(nameOf(*this) + ".attr(" + quoted(name) + "z)");
  return find(*this, name);
}

ZynAttr ZynTypeBase::attr(std::string_view name) const noexcept {
  write(nameOf(*this) + ".attr(" + quoted(name) + ")");
  return find(*this, name);
}

char const* ZynType::name() const noexcept {
  write(nameOf(*this) + ".name");
  return empty() ? "" : rowOf(*this).name.c_str();
}

bool ZynType::isValue() const noexcept { return ask(*this, "isValue", &Type::isValue); }
bool ZynType::isEnumType() const noexcept { return ask(*this, "isEnumType", &Type::isEnum); }
bool ZynType::hasS4Encoding() const noexcept { return ask(*this, "hasS4Encoding", &Type::hasS4); }
bool ZynType::hasGnmiStringForm() const noexcept { return ask(*this, "hasGnmiStringForm", &Type::hasGnmi); }
bool ZynType::isUnionType() const noexcept { return ask(*this, "isUnionType", &Type::isUnion); }
bool ZynType::isScalarKind() const noexcept { return ask(*this, "isScalarKind", &Type::isScalarKind); }
bool ZynType::isFundamentalString() const noexcept { return ask(*this, "isFundamentalString", &Type::isString); }

ZynAttr ZynType::valAttr() const noexcept {
  write(nameOf(*this) + ".valAttr");
  return empty() || rowOf(*this).valAttr.empty() ? ZynAttr() : find(*this, rowOf(*this).valAttr);
}

std::uint32_t ZynType::argListIndex() const noexcept { return firstArgList + index(); }

Velko::Ptr<GenericIf> ZynType::genericIf(Velko::String const& text, bool mode) const {
  return make(nameOf(*this) + ".genericIf(" + quoted(text.view()) + ", " + flag(mode) + ")");
}

Velko::Ptr<GenericIf> ZynType::genericIf(void const* data, bool mode) const {
  return make(nameOf(*this) + ".genericIf(" + (data == nullptr ? "null" : "data") + ", " + flag(mode) + ")");
}

Velko::Ptr<GenericIf> ZynType::genericIf(GenericIfArgs const& args, bool mode) const {
  std::string list;
  for (Velko::Ptr<GenericIf const> const& arg : args) {
    list += (list.empty() ? "" : ", ") + counted(arg.get());
  }
  return make(nameOf(*this) + ".genericIf([" + list + "], " + flag(mode) + ")");
}

Velko::Ptr<GenericIf> ZynType::genericIfFromGnmiString(Velko::String const& text, bool mode) const {
  return make(nameOf(*this) + ".genericIfFromGnmiString(" + quoted(text.view()) + ", " + flag(mode) + ")");
}

Velko::Ptr<GenericIf> ZynType::genericIfFromPbMessage(void* cursor, bool mode) const {
  auto* const place = static_cast<Velko::Pb::ReadCursor*>(cursor);
  Velko::Pb::ReadCursor const read = *place;
  std::string hex;
  for (std::uint64_t at = 0; at < read.length; ++at) {
    constexpr std::string_view digits = "0123456789abcdef";
    auto const byte = static_cast<unsigned char>(read.data[at]);
    hex += {digits[byte >> 4U], digits[byte & 15U]};
  }
  if (theWorld != nullptr) {
    theWorld->message.assign(read.data, read.length);
    *place = theWorld->spoilCursor ? Velko::Pb::ReadCursor{nullptr, ~0ULL, 0} : read;
  }
  return make(fmt::format("{}.genericIfFromPbMessage({} at {}, {})", nameOf(*this), hex, read.position, flag(mode)));
}

char const* ZynAttr::name() const noexcept {
  write(nameOf(*this) + ".name");
  return empty() ? "" : rowOf(*this).name.c_str();
}

ZynType ZynAttr::attrType() const noexcept {
  write(nameOf(*this) + ".attrType");
  return empty() ? ZynType() : rowOf(*this).type;
}

bool ZynAttr::isKeyed() const noexcept {
  write(nameOf(*this) + ".isKeyed");
  return !empty() && rowOf(*this).keyed;
}

char const* ZynAttr::internalKeyName() const noexcept {
  write(nameOf(*this) + ".internalKeyName");
  return empty() || !rowOf(*this).keyName ? nullptr : rowOf(*this).keyName->c_str();
}

ZynType ZynAttr::keyType() const noexcept {
  write(nameOf(*this) + ".keyType");
  return empty() ? ZynType() : rowOf(*this).keyType;
}

void ZynAttr::genericIfSet(Velko::Ptr<GenericIf> const& object, Velko::Ptr<GenericIf const> const& key,
                           Velko::Ptr<GenericIf const> const& value) const {
  write(nameOf(*this) + ".genericIfSet(" + counted(object.get()) + ", " + counted(key.get()) + ", " +
        counted(value.get()) + ")");
}

AttributeQIterator::AttributeQIterator(ZynType type) noexcept : type_(type) {
  write(nameOf(type) + ".attributes");
  --position_;
  ++*this;
}

AttributeQIterator& AttributeQIterator::operator++() noexcept {
  auto const& all = attrsOf.at(type_.index());
  do {
    ++position_;
  } while (position_ < all.size() && attrs.at(all[position_]).isInherited);
  current_ = position_ < all.size() ? ZynAttr(type_.module(), type_.index(), all[position_]) : ZynAttr();
  return *this;
}

}  // namespace Zyn

namespace Velko {

Zyn::ZynModule const& _Velko_FundamentalTypes_Module() { return Recording::theModule; }

bool ThreadControl::tsp_ = true;
Node::~Node() = default;
void Node::decUseImpl() const noexcept { delete this; }
Exception::~Exception() = default;
Pb::PbReadException::~PbReadException() = default;

namespace MemTrack::Impl {

Tracker& tracker(std::type_info const& tagPointer) {
  std::scoped_lock const lock(Recording::mutex());
  char const* const name = tagPointer.name();
  int status = 0;
  std::unique_ptr<char, decltype(&std::free)> const readable(
      abi::__cxa_demangle(*name == '*' ? name + 1 : name, nullptr, nullptr, &status), &std::free);
  std::string const tag = readable ? readable.get() : name;
  auto const found = std::ranges::find(Recording::trackers, tag, &Tracker::tag);
  if (found != Recording::trackers.end()) {
    return *found;
  }
  Recording::trackers.emplace_back();
  Recording::trackers.back().tag = tag;
  return Recording::trackers.back();
}

void alloc(Tracker& tracker, std::type_info const& element, std::size_t elementSize, std::size_t count) noexcept {
  std::scoped_lock const lock(Recording::mutex());
  tracker.elements += static_cast<std::int64_t>(count);
  Recording::write(fmt::format("alloc {} {}x{}", tracker.tag, count, elementSize));
  EXPECT_NE(element.name(), nullptr);
}

void dealloc(Tracker& tracker, std::size_t count) noexcept {
  std::scoped_lock const lock(Recording::mutex());
  tracker.elements -= static_cast<std::int64_t>(count);
  Recording::write(fmt::format("dealloc {} {}", tracker.tag, count));
}

}  // namespace MemTrack::Impl

namespace Platform {

DebugHandler* _getRawDebugHandler(String const& name, bool mode) {
  Recording::write(fmt::format("handle \"{}\", {}", name.view(), mode));
  return &Recording::theHandle;
}

}  // namespace Platform

namespace Impl {

void vfmtrace(Platform::DebugHandler const& handle, unsigned short level, char const* file, char const* function,
              int line, char const* className, fmt::string_view format, fmt::format_args args) noexcept {
  std::string const scope = className == nullptr ? "" : std::string(className) + "::";
  std::string const text = fmt::vformat(format, args);
  bool const usual =
      &handle == &Recording::theHandle && level == 7 && line > 0 && std::strcmp(file, "Drovan/ZynKeyDecoder") == 0;
  Recording::write("trace " + (usual ? "" : fmt::format("[{} {}:{}] ", level, file, line)) + scope + function + ": " +
                   text);
}

void vfmassert(char const* condition, char const* file, char const* function, int line, fmt::string_view format,
               fmt::format_args args) noexcept {
  fmt::print(stderr, "assertion failed: {} in {} ({}:{}): {}\n", condition, function, file, line > 0 ? 1 : 0,
             fmt::vformat(format, args));
  std::abort();
}

void vfmassert(Platform::DebugHandler const& handle, char const* condition, char const* file, char const* function,
               int line, fmt::string_view format, fmt::format_args args) noexcept {
  std::fputs(&handle == &Recording::theHandle ? "with its handle: " : "with another handle: ", stderr);
  vfmassert(condition, file, function, line, format, args);
}

}  // namespace Impl
}  // namespace Velko

namespace KvFmt::Detail {

Velko::String formatVelkoString(fmt::string_view format, fmt::format_args args) {
  Recording::write("format " + Recording::quoted({format.data(), format.size()}));
  return Velko::String(std::string_view(fmt::vformat(format, args)));
}

}  // namespace KvFmt::Detail

namespace KvSlab {

void* slabAllocOrStdMalloc(std::size_t size) {
  if (Recording::theWorld != nullptr && Recording::theWorld->outOfMemory) {
    throw std::bad_alloc();
  }
  Recording::slab(fmt::format("take {}", size));
  void* const storage = Recording::slabAllocation(size == 0 ? 1 : size);
  return storage != nullptr ? storage : throw std::bad_alloc();
}

void slabFreeOrStdFree(void* pointer, std::type_info const& type) noexcept {
  Recording::slab(fmt::format("give {}", type.name()));
  std::free(pointer);
}

}  // namespace KvSlab

namespace Recording {

void trace(bool on) { theHandle.enable(on); }

}  // namespace Recording
