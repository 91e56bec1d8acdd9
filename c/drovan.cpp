// The C ABI: hands texts and handles across, and turns every exception into a class. No rule of the library stands
// here.
#include "c/drovan.h"

#include <algorithm>
#include <cassert>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <iterator>
#include <memory>
#include <new>
#include <ranges>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>
#ifndef NDEBUG
#include <atomic>
#endif

#include "gnmi/Message.h"
#include "gnmi/ModelValues.h"
#include "gnmi/YangFacts.h"
#include "text/Messages.h"
#include "text/Nearest.h"
#include "yaml/Yaml.h"
#include "yang/Yang.h"

namespace {

using Drovan::ZynKeyDecoder;

// ---- errors

struct Failed {
  int kind;
  Gnmi::Error error;
};

[[noreturn]] void fail(int kind, std::string text) {
  throw Failed{kind, {.text = std::move(text), .element = DROVAN_NOWHERE}};
}

/** The classes of gnmi/ have the numbers of their enumeration, from 1. */
int classOf(Gnmi::ErrorClass kind) { return static_cast<int>(kind) + 1; }
static_assert(static_cast<int>(Gnmi::ErrorClass::Malformed) + 1 == DROVAN_MALFORMED);
static_assert(static_cast<int>(Gnmi::ErrorClass::BoundPassed) + 1 == DROVAN_BOUND_PASSED);
static_assert(static_cast<int>(Gnmi::Mode::Notify) == DROVAN_NOTIFY);
static_assert(static_cast<int>(Gnmi::NodeKind::List) == DROVAN_LIST);

template <typename Result>
auto orFail(Result result) {
  if (!result) {
    int const kind = classOf(result.error().kind);
    throw Failed{kind, std::move(result).error()};
  }
  if constexpr (!std::is_void_v<typename Result::value_type>) {
    return *std::move(result);
  }
}

/** What the decoder says. */
template <typename Result>
auto orRefuse(Result result) {
  if (!result) {
    fail(DROVAN_VALUE_REFUSED, std::string(result.error().view()));
  }
  if constexpr (!std::is_void_v<typename Result::value_type>) {
    return std::move(result).value();
  }
}

/** What an error's texts point into. */
struct ErrorTexts {
  Gnmi::Error error;
  std::vector<drovan_text> names;
};

drovan_text viewOf(std::string_view text) { return {text.data(), text.size()}; }

void clear(drovan_error& error) noexcept {
  delete static_cast<ErrorTexts*>(error.owned);
  drovan_error empty = DROVAN_ERROR_INIT;
  empty.size = error.size;
  error = empty;
}

/** Those that are near to the name that does not exist stand first. */
void nearestFirst(Gnmi::Error& error) {
  auto rest = error.names.begin();
  for (std::string const& near : Text::nearest(error.unknown, error.names)) {
    auto const at = std::find(rest, error.names.end(), near);
    rest = std::rotate(rest, at, std::next(at));
  }
}

void fill(drovan_error& into, int kind, Gnmi::Error error) {
  nearestFirst(error);
  auto texts = std::make_unique<ErrorTexts>(std::move(error));
  Gnmi::Error const& own = texts->error;
  for (std::string const& name : own.names) {
    texts->names.push_back(viewOf(std::string_view(name)));
  }
  clear(into);  // A function that `visit` calls may have filled it.
  into.kind = kind;
  // NOLINTNEXTLINE(clang-analyzer-core.uninitialized.Branch): each error begins with false.
  into.in_prefix = own.inPrefix ? 1 : 0;
  into.element = own.element;
  into.offset = own.offset.value_or(DROVAN_NOWHERE);
  into.text = viewOf(std::string_view(own.text));
  into.key = viewOf(std::string_view(own.key));
  into.unknown = viewOf(std::string_view(own.unknown));
  into.near_names = texts->names.data();
  into.near_count = texts->names.size();
  into.owned = texts.release();
}

int outOfMemory(drovan_error* error) noexcept {
  if (error != nullptr) {
    clear(*error);
    error->kind = DROVAN_NO_MEMORY;
    error->text = viewOf(std::string_view("out of memory"));
  }
  return DROVAN_NO_MEMORY;
}

int failed(drovan_error* error, int kind, Gnmi::Error what) {
  if (error != nullptr) {
    fill(*error, kind, std::move(what));
  }
  return kind;
}

/** Does the work of a call: nothing that it throws gets out. */
template <typename Work>
int guarded(drovan_error* error, Work const& work) noexcept {
  if (error != nullptr) {
    if (error->size < sizeof(drovan_error)) {
      return DROVAN_MISUSE;
    }
    clear(*error);
  }
  try {
    try {
      work();
      return DROVAN_OK;
    } catch (Failed& what) {
      return failed(error, what.kind, std::move(what.error));
    } catch (Model::Error const& what) {
      return failed(error, DROVAN_OTHER_KIND, {.text = what.what(), .element = DROVAN_NOWHERE});
    } catch (std::bad_alloc const&) {
      throw;
    } catch (std::exception const& what) {
      return failed(error, DROVAN_SYSTEM, {.text = what.what(), .element = DROVAN_NOWHERE});
    }
  } catch (std::bad_alloc const&) {
    return outOfMemory(error);
  }
}

// ---- handles

/** By which a handle is told from one of another kind, and from most of what is none. */
enum class Tag : std::uint32_t { Schema = 0x44525601, Resolver, Selection, Key, Filter, Freed };

class Handle {
 public:
  explicit Handle(Tag tag) noexcept : tag_(tag) {}
  Handle(Handle const&) = delete;
  Handle& operator=(Handle const&) = delete;
  ~Handle() {
#ifndef NDEBUG
    assert(users == 0 && "a handle is freed while another thread uses it");
#endif
    // Not left out by the compiler, which knows that nobody may look any more.
    *const_cast<Tag volatile*>(&tag_) = Tag::Freed;
  }

  bool is(Tag tag) const noexcept { return tag_ == tag; }

#ifndef NDEBUG
  mutable std::atomic<int> users = 0;
#endif

 private:
  Tag tag_;
};

/** A handle that a call uses, checked. */
template <typename T>
class Used {
 public:
  explicit Used(T* handle) : handle_(handle) {
    if (handle == nullptr) {
      fail(DROVAN_MISUSE, std::string("a ") + std::remove_const_t<T>::name + " that is NULL");
    }
    if (!handle->is(std::remove_const_t<T>::tag)) {
      fail(DROVAN_MISUSE, std::string("a handle that is no ") + std::remove_const_t<T>::name);
    }
#ifndef NDEBUG
    ++handle->users;
#endif
  }
  Used(Used const&) = delete;
  Used& operator=(Used const&) = delete;
  ~Used() {
#ifndef NDEBUG
    --handle_->users;
#endif
  }

  T* operator->() const noexcept { return handle_; }

 private:
  T* handle_;
};

struct SchemaData {
  Model::Schema schema;
  Gnmi::SchemaFacts facts;
  /** Of YANG modules; else empty. */
  Zyn::ZynType root;
  std::vector<std::string> warnings;
  /** What facts of YANG point into. */
  std::shared_ptr<Yang::Loaded const> yang;
};
using SchemaPtr = std::shared_ptr<SchemaData const>;

struct ResolverData {
  SchemaPtr schema;
  Gnmi::Resolver resolver;
  Gnmi::ModelValues values;
};

}  // namespace

// What is shared stands first, so that it goes last.

struct drovan_schema : Handle {
  static constexpr Tag tag = Tag::Schema;
  static constexpr char const* name = "schema";
  explicit drovan_schema(SchemaPtr given) : Handle(tag), data(std::move(given)) {}

  SchemaPtr data;
};

struct drovan_resolver : Handle {
  static constexpr Tag tag = Tag::Resolver;
  static constexpr char const* name = "resolver";
  explicit drovan_resolver(std::shared_ptr<ResolverData const> given) : Handle(tag), data(std::move(given)) {}

  std::shared_ptr<ResolverData const> data;
};

struct drovan_selection : Handle {
  static constexpr Tag tag = Tag::Selection;
  static constexpr char const* name = "selection";
  drovan_selection() noexcept : Handle(tag) {}

  /** What `found` was found by. Null before the first use. */
  std::shared_ptr<ResolverData const> resolver;
  /** Filled again and again, so that it keeps its memory. */
  Gnmi::Resolved found;
  /** What is selected: `found`, or what an expansion shows; null while that is nothing. */
  Gnmi::Resolved const* shown = nullptr;
};

struct drovan_key : Handle {
  static constexpr Tag tag = Tag::Key;
  static constexpr char const* name = "key";
  drovan_key(SchemaPtr ofSchema, Model::ValuePtr given)
      : Handle(tag), schema(std::move(ofSchema)), value(std::move(given)) {}

  SchemaPtr schema;
  Model::ValuePtr value;
};

struct drovan_filter : Handle {
  static constexpr Tag tag = Tag::Filter;
  static constexpr char const* name = "filter";
  drovan_filter(SchemaPtr ofSchema, Zyn::ZynAttr collection, bool useS4)
      : Handle(tag), schema(std::move(ofSchema)), decoder(collection, useS4) {}

  SchemaPtr schema;
  ZynKeyDecoder decoder;
  ZynKeyDecoder::FilterMap values;
};

namespace {

// ---- arguments and answers

std::string_view viewOf(drovan_text text) {
  if (text.data == nullptr && text.size != 0) {
    fail(DROVAN_MISUSE, "a text that is NULL and has a size");
  }
  return {text.data == nullptr ? "" : text.data, text.size};
}

/** The system would end it at its first NUL, and take another file. */
std::string fileName(drovan_text text) {
  std::string name(viewOf(text));
  if (name.find('\0') != std::string::npos) {
    fail(DROVAN_BAD_SCHEMA, "a file name that holds NUL");
  }
  return name;
}

template <typename T>
std::span<T const> listOf(T const* first, std::size_t count) {
  if (first == nullptr && count != 0) {
    fail(DROVAN_MISUSE, "a list that is NULL and has a size");
  }
  return {first, count};
}

std::vector<std::string> fileNames(drovan_text const* first, std::size_t count) {
  std::vector<std::string> names;
  std::ranges::transform(listOf(first, count), std::back_inserter(names), fileName);
  return names;
}

decltype(Yang::Options::features) featuresOf(drovan_yang const& yang) {
  decltype(Yang::Options::features) features;
  for (drovan_text const text : listOf(yang.features, yang.feature_count)) {
    std::string_view const feature = viewOf(text);
    std::size_t const colon = feature.find(':');
    if (colon == std::string_view::npos) {
      fail(DROVAN_BAD_SCHEMA, "a feature is named 'module:feature'; not " + Text::inQuotes(feature));
    }
    features[std::string(feature.substr(0, colon))].emplace_back(feature.substr(colon + 1));
  }
  return features;
}

template <typename T>
void require(T* answer) {
  if (answer == nullptr) {
    fail(DROVAN_MISUSE, "an argument for the answer that is NULL");
  }
}

/** A structure that has the size of this version at least. */
template <typename T>
void requireSized(T const* structure) {
  if (structure == nullptr) {
    fail(DROVAN_MISUSE, "a structure that is NULL");
  }
  if (structure->size < sizeof(T)) {
    fail(DROVAN_MISUSE, "a structure whose size is not set");
  }
}

unsigned knownFlags(unsigned flags, unsigned known) {
  if ((flags & ~known) != 0) {
    fail(DROVAN_MISUSE, "a flag that there is not");
  }
  return flags;
}

bool usesS4(unsigned flags) { return knownFlags(flags, DROVAN_USE_S4) != 0; }

void handOut(std::string const& from, char** text, std::size_t* size) {
  require(text);
  auto* const copy = static_cast<char*>(std::malloc(from.size() + 1));
  if (copy == nullptr) {
    throw std::bad_alloc();
  }
  std::memcpy(copy, from.c_str(), from.size() + 1);
  *text = copy;
  if (size != nullptr) {
    *size = from.size();
  }
}

/** What is no handle of the kind is left alone. */
template <typename T>
void drop(T* handle) noexcept {
  if (handle != nullptr && handle->is(T::tag)) {
    delete handle;
  }
}

/** Null stands for itself. */
drovan_key* newKey(SchemaPtr const& schema, Model::ValuePtr value) {
  return value ? new drovan_key(schema, std::move(value)) : nullptr;
}

std::size_t checkedIndex(std::size_t index, std::size_t count, std::string_view of) {
  if (index >= count) {
    fail(DROVAN_NO_NAME,
         "there is no " + std::string(of) + " " + std::to_string(index) + " of " + std::to_string(count));
  }
  return index;
}

/** Looks names up. */
template <typename LookUp>
auto found(LookUp const& lookUp) {
  try {
    return lookUp();
  } catch (Model::Error const& unknown) {
    fail(DROVAN_NO_NAME, unknown.what());
  }
}

Zyn::ZynAttr collectionOf(SchemaData const& data, drovan_text entity, drovan_text collection) {
  std::string_view const owner = viewOf(entity);
  std::string_view const name = viewOf(collection);
  return found([&] { return Model::attr(data.schema.type(owner), name); });
}

Zyn::ZynType rootOf(SchemaData const& data, std::string_view name) {
  if (!name.empty()) {
    Zyn::ZynType const named = found([&] { return data.schema.type(name); });
    if (Model::kindOf(named) != Model::Kind::Entity) {
      fail(DROVAN_NO_NAME, Text::inQuotes(name) + " is no entity type, and no path starts from it");
    }
    return named;
  }
  if (!data.root.empty()) {
    return data.root;
  }
  std::vector<Zyn::ZynType> const tops = Model::topEntities(data.schema);
  if (tops.size() != 1) {
    fail(DROVAN_NO_NAME, "which of " + std::to_string(tops.size()) + " entity types do paths start from? Name it");
  }
  return tops.front();
}

Gnmi::Mode modeOf(int mode) {
  if (mode < DROVAN_READ || mode > DROVAN_NOTIFY) {
    fail(DROVAN_MISUSE, "a mode that there is not");
  }
  return static_cast<Gnmi::Mode>(mode);
}

/** A path of the caller's with the members that gnmi/Message.h reads. */
struct Message {
  drovan_path const& own;

  struct Elem {
    drovan_path_elem const& own;

    std::string_view name() const { return viewOf(own.name); }
    auto key() const {
      return listOf(own.keys, own.key_count) | std::views::transform([](drovan_path_key const& key) {
               return std::pair(viewOf(key.name), viewOf(key.value));
             });
    }
  };

  std::string_view origin() const { return viewOf(own.origin); }
  std::string_view target() const { return viewOf(own.target); }
  auto elem() const {
    return listOf(own.elems, own.elem_count) |
           std::views::transform([](drovan_path_elem const& elem) { return Elem(elem); });
  }
  std::span<std::string_view const> element() const { return {}; }
};

Gnmi::Path readMessage(drovan_path const* message) {
  requireSized(message);
  Gnmi::Path path;
  orFail(Gnmi::readPath(Message(*message), path));
  return path;
}

Gnmi::Path pathOf(drovan_path const* prefix, drovan_path const* path) {
  Gnmi::Path before;
  if (prefix != nullptr) {
    try {
      before = readMessage(prefix);
    } catch (Failed& what) {
      what.error.inPrefix = true;
      throw;
    }
  }
  return orFail(Gnmi::join(before, readMessage(path)));
}

Gnmi::Path pathOf(drovan_text text) { return orFail(Gnmi::parsePath(viewOf(text))); }

template <typename... Parts>
int resolve(drovan_resolver const* handle, int mode, drovan_selection* into, drovan_error* error,
            Parts... parts) noexcept {
  if (into != nullptr && into->is(Tag::Selection)) {
    into->shown = nullptr;  // Also where the error is none that can be filled.
  }
  return guarded(error, [&] {
    Used const selection(into);
    Used const resolver(handle);
    if (selection->resolver != resolver->data) {
      selection->found = {};  // Its values go before the schema that they are of.
      selection->resolver = resolver->data;
    }
    orFail(resolver->data->resolver.resolve(pathOf(parts...), selection->found, modeOf(mode)));
    selection->shown = &selection->found;
  });
}

template <typename... Parts>
int expand(drovan_resolver const* handle, int mode, std::size_t maxNodes, drovan_visit visit, void* context,
           drovan_error* error, Parts... parts) noexcept {
  return guarded(error, [&] {
    Used const resolver(handle);
    require(visit);
    drovan_selection selection;
    selection.resolver = resolver->data;
    Gnmi::Bounds bounds;
    bounds.expansions = maxNodes == 0 ? bounds.expansions : maxNodes;
    auto const show = [&](Gnmi::Resolved const& one) {
      selection.shown = &one;
      return visit(context, &selection) != 0;
    };
    orFail(resolver->data->resolver.expand(pathOf(parts...), show, modeOf(mode), bounds));
  });
}

Gnmi::Resolved const& shownBy(drovan_selection const& selection) {
  if (selection.shown == nullptr) {
    fail(DROVAN_MISUSE, "a selection that no path was resolved into");
  }
  return *selection.shown;
}

Gnmi::Selected const& selectedAt(drovan_selection const& selection, std::size_t index) {
  auto const& all = shownBy(selection).selections;
  return all[checkedIndex(index, all.size(), "selection")];
}

ZynKeyDecoder::FilterMap const* filterOf(Gnmi::Selected const& selected) {
  auto const* const some = std::get_if<ZynKeyDecoder::Multiple>(&selected.selection);
  return some == nullptr ? nullptr : &some->values;
}

SchemaPtr const& schemaOf(drovan_selection const& selection) { return selection.resolver->schema; }

int kindOf(Zyn::ZynType type) {
  using enum Model::Kind;
  switch (Model::kindOf(type)) {
    case Bool:
      return DROVAN_BOOL;
    case S8:
    case S16:
    case S32:
    case S64:
      return DROVAN_INT;
    case U8:
    case U16:
    case U32:
    case U64:
      return DROVAN_UINT;
    case Float:
    case Double:
      return DROVAN_DOUBLE;
    case String:
      return DROVAN_STRING;
    case Bytes:
      return DROVAN_BYTES;
    case Seconds:
      return DROVAN_SECONDS;
    case Time:
      return DROVAN_TIME;
    case IpAddress:
      return DROVAN_IP_ADDRESS;
    case IpPrefix:
      return DROVAN_IP_PREFIX;
    case MacAddress:
      return DROVAN_MAC_ADDRESS;
    case Enum:
      return DROVAN_ENUM;
    case Wrapper:
      return DROVAN_WRAPPER;
    case Union:
      return DROVAN_UNION;
    case Value:
    case Entity:
      break;
  }
  return DROVAN_PARTS;
}

std::vector<Zyn::ZynAttr> attrsOf(Zyn::ZynType type) {
  std::vector<Zyn::ZynAttr> attrs;
  for (Zyn::AttributeQIterator attr(type); attr; ++attr) {
    attrs.push_back(*attr);
  }
  return attrs;
}

/** Reads a scalar. */
template <typename T, typename Answer>
int read(drovan_key const* handle, Answer* value, drovan_error* error) noexcept {
  return guarded(error, [&] {
    Used const key(handle);
    require(value);
    *value = static_cast<Answer>(Model::as<T>(*key->value));
  });
}

/** Makes a text of a value. */
template <typename Write>
int write(drovan_key const* handle, char** text, std::size_t* size, drovan_error* error, Write const& write) noexcept {
  return guarded(error, [&] {
    Used const key(handle);
    handOut(write(*key->value), text, size);
  });
}

/** Compares two values. */
template <typename Answer, typename Compare>
int compare(drovan_key const* first, drovan_key const* second, Answer* answer, drovan_error* error,
            Compare const& compare) noexcept {
  return guarded(error, [&] {
    Used const a(first);
    Used const b(second);
    require(answer);
    *answer = compare(*a->value, *b->value);
  });
}

}  // namespace

int drovan_version(void) { return DROVAN_VERSION_MAJOR * 1000 + DROVAN_VERSION_MINOR; }

char const* drovan_class_name(int kind) {
  switch (kind) {
    case DROVAN_OK:
      return "Ok";
    case DROVAN_BAD_SCHEMA:
      return "BadSchema";
    case DROVAN_OTHER_KIND:
      return "OtherKind";
    case DROVAN_NO_NAME:
      return "NoName";
    case DROVAN_MISUSE:
      return "Misuse";
    case DROVAN_NO_MEMORY:
      return "NoMemory";
    case DROVAN_SYSTEM:
      return "System";
    default:
      break;
  }
  // Names of classes are literals, which end in NUL.
  return kind >= DROVAN_MALFORMED && kind <= DROVAN_BOUND_PASSED
             ? Gnmi::nameOf(static_cast<Gnmi::ErrorClass>(kind - 1)).data()
             : "?";
}

void drovan_error_clear(drovan_error* error) {
  if (error != nullptr && error->size >= sizeof(drovan_error)) {
    clear(*error);
  }
}

void drovan_free(char* text) { std::free(text); }

// ---- schemas

namespace {

int newSchema(drovan_schema** schema, drovan_error* error, auto const& load) noexcept {
  return guarded(error, [&] {
    require(schema);
    *schema = nullptr;
    auto data = std::make_shared<SchemaData>();
    load(*data);
    *schema = new drovan_schema(std::move(data));  // NOLINT(bugprone-unhandled-exception-at-new): `guarded` catches it.
  });
}

[[noreturn]] void refuseSchema(std::vector<std::string> const& lines) {
  std::string text;
  for (std::string const& line : lines) {
    text += (text.empty() ? "" : "\n") + line;
  }
  fail(DROVAN_BAD_SCHEMA, text);
}

void takeYaml(Yaml::Loaded loaded, SchemaData& data) {
  if (!loaded) {
    std::vector<std::string> lines;
    std::ranges::transform(loaded.error(), std::back_inserter(lines), &Yaml::Problem::text);
    refuseSchema(lines);
  }
  data.schema = *std::move(loaded);
  data.facts = Gnmi::modelFacts();
}

}  // namespace

int drovan_schema_yaml_file(drovan_text path, drovan_schema** schema, drovan_error* error) {
  return newSchema(schema, error, [&](SchemaData& data) { takeYaml(Yaml::loadFile(fileName(path)), data); });
}

int drovan_schema_yaml_text(drovan_text yaml, drovan_text name, drovan_schema** schema, drovan_error* error) {
  return newSchema(schema, error,
                   [&](SchemaData& data) { takeYaml(Yaml::loadText(viewOf(yaml), std::string(viewOf(name))), data); });
}

int drovan_schema_yang(drovan_yang const* yang, drovan_schema** schema, drovan_error* error) {
  return newSchema(schema, error, [&](SchemaData& data) {
    requireSized(yang);
    unsigned const flags = knownFlags(yang->flags, DROVAN_ALL_FEATURES | DROVAN_IMPLEMENT_IMPORTS | DROVAN_STRICT);
    auto loaded = Yang::load(fileNames(yang->folders, yang->folder_count), fileNames(yang->modules, yang->module_count),
                             {.allFeatures = (flags & DROVAN_ALL_FEATURES) != 0,
                              .features = featuresOf(*yang),
                              .implementImports = (flags & DROVAN_IMPLEMENT_IMPORTS) != 0,
                              .isStrict = (flags & DROVAN_STRICT) != 0});
    if (!loaded) {
      refuseSchema(loaded.error());
    }
    data.warnings = loaded->choices;
    data.warnings.insert(data.warnings.end(), loaded->warnings.begin(), loaded->warnings.end());
    data.root = loaded->root;
    data.schema = std::move(loaded->schema);
    data.yang = std::make_shared<Yang::Loaded const>(*std::move(loaded));
    data.facts = Gnmi::yangFacts(data.yang);
  });
}

size_t drovan_schema_warning_count(drovan_schema const* schema) {
  return schema == nullptr || !schema->is(Tag::Schema) ? 0 : schema->data->warnings.size();
}

int drovan_schema_warning(drovan_schema const* handle, size_t index, drovan_text* warning, drovan_error* error) {
  return guarded(error, [&] {
    Used const schema(handle);
    require(warning);
    auto const& all = schema->data->warnings;
    *warning = viewOf(all[checkedIndex(index, all.size(), "warning")]);
  });
}

void drovan_schema_free(drovan_schema* schema) { drop(schema); }

// ---- paths

int drovan_resolver_new(drovan_schema const* handle, drovan_text root, unsigned flags, drovan_resolver** resolver,
                        drovan_error* error) {
  return guarded(error, [&] {
    Used const schema(handle);
    require(resolver);
    *resolver = nullptr;
    SchemaData const& data = *schema->data;
    Zyn::ZynType const top = rootOf(data, viewOf(root));
    bool const useS4 = usesS4(flags);
    *resolver = new drovan_resolver(std::make_shared<ResolverData>(
        schema->data, Gnmi::Resolver(top, {.useS4Encoding = useS4, .facts = data.facts}), Gnmi::ModelValues(useS4)));
  });
}

void drovan_resolver_free(drovan_resolver* resolver) { drop(resolver); }

int drovan_selection_new(drovan_selection** selection, drovan_error* error) {
  return guarded(error, [&] {
    require(selection);
    *selection = nullptr;
    *selection = new drovan_selection();
  });
}

void drovan_selection_free(drovan_selection* selection) { drop(selection); }

int drovan_resolve_text(drovan_resolver const* resolver, drovan_text path, int mode, drovan_selection* selection,
                        drovan_error* error) {
  return resolve(resolver, mode, selection, error, path);
}

int drovan_resolve_message(drovan_resolver const* resolver, drovan_path const* prefix, drovan_path const* path,
                           int mode, drovan_selection* selection, drovan_error* error) {
  return resolve(resolver, mode, selection, error, prefix, path);
}

int drovan_expand_text(drovan_resolver const* resolver, drovan_text path, int mode, size_t max_nodes,
                       drovan_visit visit, void* context, drovan_error* error) {
  return expand(resolver, mode, max_nodes, visit, context, error, path);
}

int drovan_expand_message(drovan_resolver const* resolver, drovan_path const* prefix, drovan_path const* path, int mode,
                          size_t max_nodes, drovan_visit visit, void* context, drovan_error* error) {
  return expand(resolver, mode, max_nodes, visit, context, error, prefix, path);
}

int drovan_selection_node(drovan_selection const* handle, drovan_node* node, drovan_error* error) {
  return guarded(error, [&] {
    Used const selection(handle);
    requireSized(node);
    Gnmi::Node const& own = shownBy(*handle).node;
    node->kind = static_cast<int>(own.kind);
    node->name = viewOf(std::string_view(own.attr.empty() ? "" : own.attr.name()));
    node->type = viewOf(std::string_view(own.type.empty() ? "" : own.type.name()));
  });
}

size_t drovan_selection_count(drovan_selection const* selection) {
  bool const isFilled = selection != nullptr && selection->is(Tag::Selection) && selection->shown != nullptr;
  return isFilled ? selection->shown->selections.size() : 0;
}

int drovan_selection_at(drovan_selection const* handle, size_t index, drovan_selected* selected, drovan_error* error) {
  return guarded(error, [&] {
    Used const selection(handle);
    requireSized(selected);
    Gnmi::Selected const& own = selectedAt(*handle, index);
    auto const* const filter = filterOf(own);
    selected->kind = filter == nullptr ? DROVAN_ONE : filter->empty() ? DROVAN_EVERY : DROVAN_SOME;
    selected->element = own.node;
    selected->entity = viewOf(std::string_view(Zyn::ZynType(own.collection.module(), own.collection.owner()).name()));
    selected->name = viewOf(std::string_view(own.collection.name()));
    selected->filter_count = filter == nullptr ? 0 : filter->size();
  });
}

int drovan_selection_key(drovan_selection const* handle, size_t index, drovan_key** key, drovan_error* error) {
  return guarded(error, [&] {
    Used const selection(handle);
    require(key);
    *key = nullptr;
    auto const* const one = std::get_if<ZynKeyDecoder::Single>(&selectedAt(*handle, index).selection);
    if (one == nullptr) {
      fail(DROVAN_OTHER_KIND, "the selection is no exact key");
    }
    *key = newKey(schemaOf(*handle), one->value);
  });
}

int drovan_selection_filter(drovan_selection const* handle, size_t index, size_t part, drovan_text* name,
                            drovan_key** value, drovan_error* error) {
  return guarded(error, [&] {
    Used const selection(handle);
    require(value);
    *value = nullptr;
    Gnmi::Selected const& selected = selectedAt(*handle, index);
    auto const* const filter = filterOf(selected);
    std::vector<Zyn::ZynAttr> named;
    if (filter != nullptr) {
      std::ranges::copy_if(attrsOf(selected.collection.keyType()), std::back_inserter(named),
                           [&](Zyn::ZynAttr attr) { return filter->contains(attr); });
    }
    Zyn::ZynAttr const attr = named[checkedIndex(part, named.size(), "part of the filter")];
    *value = newKey(schemaOf(*handle), filter->find(attr)->second);
    if (name != nullptr) {
      *name = viewOf(std::string_view(attr.name()));
    }
  });
}

int drovan_selection_matches(drovan_selection const* handle, size_t index, drovan_key const* given, int* matches,
                             drovan_error* error) {
  return guarded(error, [&] {
    Used const selection(handle);
    Used const key(given);
    require(matches);
    Gnmi::Selection const& own = selectedAt(*handle, index).selection;
    auto const* const one = std::get_if<ZynKeyDecoder::Single>(&own);
    bool const is = one != nullptr ? Model::equal(*one->value, *key->value)
                                   : Model::matches(std::get<ZynKeyDecoder::Multiple>(own).values, *key->value);
    *matches = is ? 1 : 0;
  });
}

int drovan_selection_path(drovan_selection const* handle, char** path, size_t* size, drovan_error* error) {
  return guarded(error, [&] {
    Used const selection(handle);
    Gnmi::Resolved const& shown = shownBy(*handle);
    ResolverData const& data = *selection->resolver;
    handOut(Gnmi::formatPath(orFail(data.resolver.canonical(shown, data.values))), path, size);
  });
}

// ---- keys

void drovan_key_free(drovan_key* key) { drop(key); }

int drovan_key_kind(drovan_key const* key) {
  return key == nullptr || !key->is(Tag::Key) ? -1 : kindOf(Model::typeOf(*key->value));
}

int drovan_key_type(drovan_key const* handle, drovan_text* name, drovan_error* error) {
  return guarded(error, [&] {
    Used const key(handle);
    require(name);
    *name = viewOf(std::string_view(Model::typeOf(*key->value).name()));
  });
}

int drovan_key_bool(drovan_key const* key, int* value, drovan_error* error) { return read<bool>(key, value, error); }
int drovan_key_int64(drovan_key const* key, int64_t* value, drovan_error* error) {
  return read<std::int64_t>(key, value, error);
}
int drovan_key_uint64(drovan_key const* key, uint64_t* value, drovan_error* error) {
  return read<std::uint64_t>(key, value, error);
}
int drovan_key_double(drovan_key const* key, double* value, drovan_error* error) {
  return read<double>(key, value, error);
}
int drovan_key_text(drovan_key const* key, char** text, size_t* size, drovan_error* error) {
  return write(key, text, size, error, [](Zyn::GenericIf const& value) { return Model::as<std::string>(value); });
}

size_t drovan_key_part_count(drovan_key const* key) {
  std::size_t count = 0;
  if (key != nullptr && key->is(Tag::Key)) {
    for (Zyn::AttributeQIterator attr(Model::typeOf(*key->value)); attr; ++attr) {
      ++count;
    }
  }
  return count;
}

int drovan_key_part(drovan_key const* handle, size_t index, drovan_text* name, drovan_key** value,
                    drovan_error* error) {
  return guarded(error, [&] {
    Used const key(handle);
    std::vector<Zyn::ZynAttr> const attrs = attrsOf(Model::typeOf(*key->value));
    Zyn::ZynAttr const attr = attrs[checkedIndex(index, attrs.size(), "part")];
    if (value != nullptr) {
      *value = nullptr;
      *value = newKey(key->schema, Model::attribute(*key->value, attr));
    }
    if (name != nullptr) {
      *name = viewOf(std::string_view(attr.name()));
    }
  });
}

int drovan_key_part_named(drovan_key const* handle, drovan_text name, drovan_key** value, drovan_error* error) {
  return guarded(error, [&] {
    Used const key(handle);
    require(value);
    *value = nullptr;
    std::string_view const wanted = viewOf(name);
    *value = newKey(key->schema, found([&] { return Model::attribute(*key->value, wanted); }));
  });
}

int drovan_key_print(drovan_key const* key, char** text, size_t* size, drovan_error* error) {
  return write(key, text, size, error, [](Zyn::GenericIf const& value) { return Model::print(value); });
}

int drovan_key_json(drovan_key const* key, char** text, size_t* size, drovan_error* error) {
  return write(key, text, size, error, [](Zyn::GenericIf const& value) {
    std::string text;
    Model::appendJson(value, text);
    return text;
  });
}

int drovan_key_path_text(drovan_key const* key, char** text, size_t* size, drovan_error* error) {
  return write(key, text, size, error, [](Zyn::GenericIf const& value) {
    auto own = Model::gnmiText(value);
    if (!own) {
      fail(DROVAN_OTHER_KIND, std::string(Model::typeOf(value).name()) + " has no text of its own in a path");
    }
    return *std::move(own);
  });
}

int drovan_key_equal(drovan_key const* a, drovan_key const* b, int* equal, drovan_error* error) {
  return compare(a, b, equal, error, [](auto const& x, auto const& y) { return Model::equal(x, y) ? 1 : 0; });
}

int drovan_key_compare(drovan_key const* a, drovan_key const* b, int* order, drovan_error* error) {
  return compare(a, b, order, error, [](auto const& x, auto const& y) {
    auto const is = Model::compare(x, y);
    return is < 0 ? -1 : is > 0 ? 1 : 0;
  });
}

int drovan_key_hash(drovan_key const* key, uint64_t* hash, drovan_error* error) {
  return compare(key, key, hash, error, [](auto const& x, auto const&) { return Model::hash(x); });
}

int drovan_path_of(drovan_resolver const* handle, drovan_entry const* entries, size_t count, char** path, size_t* size,
                   drovan_error* error) {
  return guarded(error, [&] {
    Used const resolver(handle);
    ResolverData const& data = *resolver->data;
    std::vector<Gnmi::Entry> list;
    for (drovan_entry const& entry : listOf(entries, count)) {
      Used const key(entry.key);
      list.push_back({.collection = collectionOf(*data.schema, entry.entity, entry.name), .key = key->value});
    }
    handOut(Gnmi::formatPath(orFail(data.resolver.pathOf(list, data.values))), path, size);
  });
}

// ---- the decoder's own jobs

int drovan_decode_scalar(drovan_schema const* handle, drovan_text entity, drovan_text collection, drovan_text key_name,
                         drovan_text value, unsigned flags, drovan_key** key, drovan_error* error) {
  return guarded(error, [&] {
    Used const schema(handle);
    require(key);
    *key = nullptr;
    Zyn::ZynAttr const attr = collectionOf(*schema->data, entity, collection);
    auto const decoded =
        orRefuse(ZynKeyDecoder(attr, usesS4(flags)).decodeScalarKey(attr.keyType(), viewOf(key_name), viewOf(value)));
    if (auto const* const one = std::get_if<ZynKeyDecoder::Single>(&decoded)) {
      *key = newKey(schema->data, one->value);
    }
  });
}

int drovan_decode_key(drovan_schema const* handle, drovan_text entity, drovan_text collection,
                      drovan_field const* fields, size_t count, unsigned flags, drovan_key** key, drovan_error* error) {
  return guarded(error, [&] {
    Used const schema(handle);
    require(key);
    *key = nullptr;
    Zyn::ZynAttr const attr = collectionOf(*schema->data, entity, collection);
    bool const useS4 = usesS4(flags);
    ZynKeyDecoder const decoder(attr, useS4);
    ZynKeyDecoder::KeyElemNode tree(attr.keyType(), useS4);
    for (drovan_field const& field : listOf(fields, count)) {
      orRefuse(decoder.processKeyPath(tree, viewOf(field.path), viewOf(field.value)));
    }
    orRefuse(tree.instantiate());
    *key = newKey(schema->data, tree.value);
  });
}

int drovan_filter_new(drovan_schema const* handle, drovan_text entity, drovan_text collection, unsigned flags,
                      drovan_filter** filter, drovan_error* error) {
  return guarded(error, [&] {
    Used const schema(handle);
    require(filter);
    *filter = nullptr;
    *filter = new drovan_filter(schema->data, collectionOf(*schema->data, entity, collection), usesS4(flags));
  });
}

int drovan_filter_set(drovan_filter* handle, drovan_text path, drovan_text value, drovan_error* error) {
  return guarded(error, [&] {
    Used const filter(handle);
    orRefuse(filter->decoder.updateFilter(filter->values, viewOf(path), viewOf(value)));
  });
}

int drovan_filter_matches(drovan_filter const* handle, drovan_key const* given, int* matches, drovan_error* error) {
  return guarded(error, [&] {
    Used const filter(handle);
    Used const key(given);
    require(matches);
    *matches = Model::matches(filter->values, *key->value) ? 1 : 0;
  });
}

void drovan_filter_free(drovan_filter* filter) { drop(filter); }
