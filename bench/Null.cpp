// A provider that does next to nothing: what remains is the decoder, and the harness around it.
//
// One key type of three fields, whose values are all the same object. Every answer is a constant.
#include <cstdlib>
#include <memory>

#include "KvFmt/Format.h"
#include "KvSlab/Slab.h"
#include "Velko/Assert.h"
#include "Velko/Exception.h"
#include "Velko/Pb.h"
#include "Velko/Trace.h"
#include "Zyn/Zyn.h"
#include "bench/Work.h"

namespace {

class Module final : public Zyn::ZynModule {
 public:
  Module() = default;
} const theModule;

class Handle final : public Velko::Platform::DebugHandler {
 public:
  Handle() = default;
};

class Thing final : public Zyn::GenericIf {};

enum Index : std::uint32_t { StringType, U32Type, PrefixType, KeyType, EntryType, ListAttr };

constexpr char const* fieldNames[] = {"vrf", "tag", "prefix"};

Velko::Ptr<Zyn::GenericIf> theValue() {
  static Velko::Ptr<Zyn::GenericIf> const one(new Thing);
  return one;
}

/** Free blocks of one size, which is enough for everything here. */
struct Block {
  Block* next;
};
constexpr std::size_t blockSize = 2048;
thread_local constinit Block* freeBlocks = nullptr;

}  // namespace

namespace Velko {

bool ThreadControl::tsp_ = true;
Node::~Node() = default;
void Node::decUseImpl() const noexcept {}
Exception::~Exception() = default;
Pb::PbReadException::~PbReadException() = default;

class MemTrack::Tracker {};

MemTrack::Tracker& MemTrack::Impl::tracker(std::type_info const& /*tagPointer*/) {
  static Tracker one;
  return one;
}
void MemTrack::Impl::alloc(Tracker&, std::type_info const&, std::size_t, std::size_t) noexcept {}
void MemTrack::Impl::dealloc(Tracker&, std::size_t) noexcept {}

Platform::DebugHandler* Platform::_getRawDebugHandler(String const& /*name*/, bool /*mode*/) {
  static Handle one;
  return &one;
}

void Impl::vfmtrace(Platform::DebugHandler const&, unsigned short, char const*, char const*, int, char const*,
                    fmt::string_view, fmt::format_args) noexcept {}
void Impl::vfmassert(char const*, char const*, char const*, int, fmt::string_view, fmt::format_args) noexcept {
  std::abort();
}
void Impl::vfmassert(Platform::DebugHandler const&, char const*, char const*, char const*, int, fmt::string_view,
                     fmt::format_args) noexcept {
  std::abort();
}

Zyn::ZynModule const& _Velko_FundamentalTypes_Module() { return theModule; }

}  // namespace Velko

Velko::String KvFmt::Detail::formatVelkoString(fmt::string_view format, fmt::format_args /*args*/) {
  return {format.data(), format.size()};
}

void* KvSlab::slabAllocOrStdMalloc(std::size_t size) {
  if (size > blockSize) {
    std::abort();
  }
  Block* const block = freeBlocks;
  if (block == nullptr) {
    return std::malloc(blockSize);
  }
  freeBlocks = block->next;
  return block;
}

void KvSlab::slabFreeOrStdFree(void* pointer, std::type_info const& /*type*/) noexcept {
  auto* const block = static_cast<Block*>(pointer);
  block->next = freeBlocks;
  freeBlocks = block;
}

namespace Zyn {

GenericIf::~GenericIf() = default;

ArgNameQIterator ZynModule::argNameQIterator(std::uint32_t /*index*/) const noexcept { return {fieldNames, 3}; }

ZynAttr ZynTypeBase::attr(char const* name) const noexcept { return attr(std::string_view(name)); }
ZynAttr ZynTypeBase::attr(std::string_view name) const noexcept {
  switch (name.front()) {
    case 'v':
      return {&theModule, KeyType, StringType};
    case 't':
      return {&theModule, KeyType, U32Type};
    case 'p':
      return {&theModule, KeyType, PrefixType};
    default:
      return {&theModule, EntryType, KeyType};
  }
}

char const* ZynType::name() const noexcept { return "Type"; }
bool ZynType::isValue() const noexcept { return true; }
bool ZynType::isEnumType() const noexcept { return false; }
bool ZynType::hasS4Encoding() const noexcept { return false; }
bool ZynType::hasGnmiStringForm() const noexcept { return index() == PrefixType; }
bool ZynType::isUnionType() const noexcept { return false; }
bool ZynType::isScalarKind() const noexcept { return index() <= PrefixType; }
bool ZynType::isFundamentalString() const noexcept { return index() == StringType; }
ZynAttr ZynType::valAttr() const noexcept { return {}; }
std::uint32_t ZynType::argListIndex() const noexcept { return index(); }

Velko::Ptr<GenericIf> ZynType::genericIf(Velko::String const&, bool) const { return theValue(); }
Velko::Ptr<GenericIf> ZynType::genericIf(void const*, bool) const { return theValue(); }
Velko::Ptr<GenericIf> ZynType::genericIf(GenericIfArgs const&, bool) const { return theValue(); }
Velko::Ptr<GenericIf> ZynType::genericIfFromGnmiString(Velko::String const&, bool) const { return theValue(); }
Velko::Ptr<GenericIf> ZynType::genericIfFromPbMessage(void*, bool) const { return theValue(); }

char const* ZynAttr::name() const noexcept { return index() < 3 ? fieldNames[index()] : "key"; }
ZynType ZynAttr::attrType() const noexcept { return {module(), index() == ListAttr ? EntryType : index()}; }
bool ZynAttr::isKeyed() const noexcept { return index() == ListAttr; }
char const* ZynAttr::internalKeyName() const noexcept { return "key"; }
ZynType ZynAttr::keyType() const noexcept { return {module(), KeyType}; }
void ZynAttr::genericIfSet(Velko::Ptr<GenericIf> const&, Velko::Ptr<GenericIf const> const&,
                           Velko::Ptr<GenericIf const> const&) const {}

AttributeQIterator::AttributeQIterator(ZynType type) noexcept : type_(type) {}
AttributeQIterator& AttributeQIterator::operator++() noexcept { return *this; }

}  // namespace Zyn

namespace Bench {

Works works() {
  Zyn::ZynAttr const list(&theModule, EntryType, ListAttr);
  Fields const fields = {{"key__vrf", "customer1"}, {"key__tag", "4200"}, {"key__prefix", "10.20.0.0/16"}};
  Works all;
  all.push_back({"nothing", [] {}});
  all.push_back(split("split, 3 elements", "key__site__region"));
  all.push_back(scalar("scalar, string of 9", list, {&theModule, StringType}, "Ethernet1"));
  all.push_back(scalar("scalar, u32", list, {&theModule, U32Type}, "4200"));
  all.push_back(wholeKey("key, 3 fields", list, fields));
  return all;
}

}  // namespace Bench
