// Sequences of calls of the C interface, on handles that exist, that are none, and that are of another kind.
//
// The input is calls, a byte each, with their arguments: a byte for a handle or a number, a line for a text. Handles
// stand in slots, and a call that makes one frees what its slot held, in whatever order that comes about.
#include <array>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "c/drovan.h"
#include "fuzz/Fuzz.h"

namespace {

constexpr std::array<std::string_view, 2> schemas = {
    "module: A\n"
    "types:\n"
    "  Range: {value: {low: U8, high: U8}, args: [low, high], gnmi: \"{low}-{high}\"}\n"
    "  Id: {union: {number: U16, name: String}}\n"
    "  Key: {value: {id: Id, range: Range, tag: U8}, args: [id, range], s4: {id: 1, range: 2, tag: 3}}\n"
    "  Leaf: {entity: {key: Key, text: String, time: Time}}\n"
    "  Box: {entity: {name: String, leaf: {keyed: Leaf, by: key}, text: {keyed: Leaf, by: text}}}\n"
    "  Root: {entity: {box: {keyed: Box, by: name}, time: {keyed: Leaf, by: time}, other: Leaf}}\n",
    "module: B\n"
    "types:\n"
    "  On: {enum: [no, yes]}\n"
    "  Key: {value: {on: On, at: IpPrefix, bytes: Bytes}, args: [on]}\n"
    "  Entry: {entity: {key: Key}}\n"
    "  One: {entity: {e: {keyed: Entry, by: key}}}\n"
    "  Two: {entity: {e: {keyed: Entry, type: On}, n: {keyed: Entry, type: Double}}}\n"};

/** A text whose end is the end of its memory. */
class Text {
 public:
  explicit Text(std::string_view text) : own_(text), size_(text.size()) {}

  operator drovan_text() const {
    return {size_ == 0 ? nullptr : own_.view().data(), size_};
  }  // NOLINT: as an argument.

 private:
  Fuzz::Exact own_;
  std::size_t size_;
};

template <typename T, std::size_t Count>
class Slots {
 public:
  explicit Slots(void (*drop)(T*)) : drop_(drop) {}
  Slots(Slots const&) = delete;
  Slots& operator=(Slots const&) = delete;
  ~Slots() {
    for (T* const handle : all_) {
      drop_(handle);
    }
  }

  T* get(Fuzz::Input& input) { return all_[input.choice(Count)]; }
  void put(Fuzz::Input& input, T* handle) {
    T*& slot = all_[input.choice(Count)];
    drop_(slot);
    slot = handle;
  }

 private:
  std::array<T*, Count> all_ = {};
  void (*drop_)(T*);
};

class Calls {
 public:
  explicit Calls(std::string_view bytes) : input_(bytes) {}
  ~Calls() { drovan_error_clear(&error_); }
  Calls(Calls const&) = delete;
  Calls& operator=(Calls const&) = delete;

  void run() {
    // Most inputs begin with what all others need.
    makeSchema();
    makeResolver();
    selections_.put(input_, newSelection());
    while (!input_.empty()) {
      one(input_.choice(26));
    }
  }

 private:
  void one(std::size_t call) {
    switch (call) {
      case 0:
        return makeSchema();
      case 1:
        return makeResolver();
      case 2:
        return selections_.put(input_, newSelection());
      case 3:
        return resolveText();
      case 4:
        return resolveMessage();
      case 5:
        return expand();
      case 6:
        return readSelection();
      case 7:
        return readFilter();
      case 8:
        return matchSelection();
      case 9:
        return readKey();
      case 10:
        return readPart();
      case 11:
        return readNamedPart();
      case 12:
        return compare();
      case 13:
        return writePath();
      case 14:
        return decodeScalar();
      case 15:
        return decodeKey();
      case 16:
        return makeFilter();
      case 17:
        return setFilter();
      case 18:
        return matchFilter();
      case 19:
        return schemas_.put(input_, nullptr);
      case 20:
        return resolvers_.put(input_, nullptr);
      case 21:
        return selections_.put(input_, nullptr);
      case 22:
        return keys_.put(input_, nullptr);
      case 23:
        return filters_.put(input_, nullptr);
      case 24:
        return misuse();
      default:
        return drovan_error_clear(&error_);
    }
  }

  /** Whether a call did what it says; what it says of itself. */
  bool is(int kind) {
    Fuzz::require(kind == error_.kind, "the class is that of the error");
    Fuzz::require(std::string_view(drovan_class_name(kind)) != "?", "every class has a name");
    Fuzz::require((kind == DROVAN_OK) == (error_.text.size == 0), "a failure says what is wrong");
    Fuzz::require(kind != DROVAN_SYSTEM && kind != DROVAN_NO_MEMORY, "the system has all that is needed");
    for (drovan_text const text : {error_.text, error_.key, error_.unknown}) {
      Fuzz::require(text.data[text.size] == '\0', "texts end in NUL");
    }
    for (std::size_t i = 0; i != error_.near_count; ++i) {
      Fuzz::require(error_.near_names[i].data[error_.near_names[i].size] == '\0', "names end in NUL");
    }
    return kind == DROVAN_OK;
  }

  template <typename... Handles>
  bool is(int kind, Handles... handles) {
    bool isAnyNull = false;
    ((isAnyNull = isAnyNull || handles == nullptr), ...);
    if (isAnyNull) {
      Fuzz::require(kind == DROVAN_MISUSE, "a handle that is NULL is misuse");
    }
    return is(kind);
  }

  /** By reference: the call that fills them is an argument, too. */
  void takeText(bool isThere, char* const& text, std::size_t const& size) {
    Fuzz::require(isThere == (text != nullptr), "a text is there where nothing failed");
    Fuzz::require(!isThere || text[size] == '\0', "texts end in NUL");
    drovan_free(text);
  }

  void takeKey(bool isThere, drovan_key* const& key) {
    Fuzz::require(isThere || key == nullptr, "there is no key after a failure");
    keys_.put(input_, key);
  }

  Text text() { return Text(input_.upTo('\n')); }

  drovan_selection* newSelection() {
    drovan_selection* selection = nullptr;
    is(drovan_selection_new(&selection, &error_));
    return selection;
  }

  void makeSchema() {
    drovan_schema* schema = nullptr;
    std::size_t const which = input_.choice(schemas.size() + 1);
    std::string_view const yaml = which == schemas.size() ? input_.upTo('\f') : schemas[which];
    bool const isThere = is(drovan_schema_yaml_text(Text(yaml), Text("x.yaml"), &schema, &error_));
    Fuzz::require(isThere == (schema != nullptr), "a schema is there where nothing failed");
    schemas_.put(input_, schema);
  }

  void makeResolver() {
    drovan_resolver* resolver = nullptr;
    drovan_schema* const schema = schemas_.get(input_);
    auto const flags = static_cast<unsigned>(input_.choice(3));
    bool const isThere = is(drovan_resolver_new(schema, text(), flags, &resolver, &error_), schema);
    Fuzz::require(isThere == (resolver != nullptr), "a resolver is there where nothing failed");
    resolvers_.put(input_, resolver);
  }

  void check(drovan_selection* selection, bool isFilled) {
    drovan_node node = {.size = sizeof node, .kind = -1, .name = {}, .type = {}};
    Fuzz::require(is(drovan_selection_node(selection, &node, &error_)) == isFilled, "what is resolved has a node");
    Fuzz::require(isFilled || drovan_selection_count(selection) == 0, "nothing is selected after a failure");
  }

  void resolveText() {
    drovan_resolver* const resolver = resolvers_.get(input_);
    drovan_selection* const selection = selections_.get(input_);
    int const mode = static_cast<int>(input_.choice(5));
    check(selection, is(drovan_resolve_text(resolver, text(), mode, selection, &error_), resolver, selection));
  }

  void resolveMessage() {
    drovan_resolver* const resolver = resolvers_.get(input_);
    drovan_selection* const selection = selections_.get(input_);
    int const mode = static_cast<int>(input_.choice(4));
    std::vector<Text> texts;
    std::size_t const count = input_.choice(4);
    std::vector<drovan_path_key> keys(count);
    std::vector<drovan_path_elem> elems(count);
    for (std::size_t i = 0; i != count; ++i) {
      elems[i].name = texts.emplace_back(input_.upTo('\n'));
      keys[i].name = texts.emplace_back(input_.upTo('\n'));
      keys[i].value = texts.emplace_back(input_.upTo('\n'));
      elems[i].keys = &keys[i];
      elems[i].key_count = keys[i].name.size == 0 && keys[i].value.size == 0 ? 0 : 1;
    }
    Text const origin = text();
    Text const target = text();
    std::size_t const inPrefix = input_.choice(count + 1);
    drovan_path const prefix = {
        .size = sizeof prefix, .origin = origin, .target = target, .elems = elems.data(), .elem_count = inPrefix};
    drovan_path const path = {.size = sizeof path,
                              .origin = {},
                              .target = {},
                              .elems = elems.data() + inPrefix,
                              .elem_count = count - inPrefix};
    bool const isFilled =
        is(drovan_resolve_message(resolver, inPrefix == 0 ? nullptr : &prefix, &path, mode, selection, &error_),
           resolver, selection);
    check(selection, isFilled);
  }

  static int visit(void* context, drovan_selection const* shown) {
    Calls& calls = *static_cast<Calls*>(context);
    drovan_error own = DROVAN_ERROR_INIT;
    char* path = nullptr;
    int const kind = drovan_selection_path(shown, &path, nullptr, &own);
    Fuzz::require(kind == DROVAN_OK || kind == DROVAN_VALUE_REFUSED, "a node has a path, but for its keys");
    drovan_free(path);
    drovan_key* key = nullptr;
    (void)drovan_selection_key(shown, 0, &key, &own);
    drovan_error_clear(&own);
    if (key != nullptr) {
      calls.keys_.put(calls.input_, key);
    }
    return calls.input_.choice(8) != 7 ? 1 : 0;
  }

  void expand() {
    drovan_resolver* const resolver = resolvers_.get(input_);
    Text const path = text();
    std::size_t const most = input_.choice(50);
    is(drovan_expand_text(resolver, path, DROVAN_READ, most + 1, visit, this, &error_), resolver);
  }

  void readSelection() {
    drovan_selection* const selection = selections_.get(input_);
    std::size_t const index = input_.choice(3);
    drovan_selected selected = {
        .size = sizeof selected, .kind = -1, .element = 0, .entity = {}, .name = {}, .filter_count = 0};
    bool const isOne = is(drovan_selection_at(selection, index, &selected, &error_), selection);
    Fuzz::require(isOne == (index < drovan_selection_count(selection)), "there are as many as there are");
    drovan_key* key = nullptr;
    bool const isThere = is(drovan_selection_key(selection, index, &key, &error_), selection);
    Fuzz::require(!isOne || isThere == (selected.kind == DROVAN_ONE), "an exact key is one");
    takeKey(isThere, key);
    char* path = nullptr;
    std::size_t size = 0;
    takeText(is(drovan_selection_path(selection, &path, &size, &error_), selection), path, size);
  }

  void readFilter() {
    drovan_selection* const selection = selections_.get(input_);
    std::size_t const index = input_.choice(3);
    std::size_t const part = input_.choice(4);
    drovan_key* value = nullptr;
    drovan_text name = {};
    bool const isThere = is(drovan_selection_filter(selection, index, part, &name, &value, &error_), selection);
    takeKey(isThere, value);
  }

  void matchSelection() {
    drovan_selection* const selection = selections_.get(input_);
    drovan_key* const key = keys_.get(input_);
    int matches = -1;
    bool const isTold =
        is(drovan_selection_matches(selection, input_.choice(3), key, &matches, &error_), selection, key);
    Fuzz::require(isTold == (matches != -1), "a key matches or does not");
  }

  void readKey() {
    drovan_key* const key = keys_.get(input_);
    Fuzz::require((drovan_key_kind(key) < 0) == (key == nullptr), "a key has a kind");
    drovan_text name = {};
    is(drovan_key_type(key, &name, &error_), key);
    int truth = 0;
    is(drovan_key_bool(key, &truth, &error_), key);
    std::int64_t integer = 0;
    is(drovan_key_int64(key, &integer, &error_), key);
    std::uint64_t natural = 0;
    is(drovan_key_uint64(key, &natural, &error_), key);
    double number = 0;
    is(drovan_key_double(key, &number, &error_), key);
    for (auto const write : {drovan_key_text, drovan_key_print, drovan_key_json, drovan_key_path_text}) {
      char* text = nullptr;
      std::size_t size = 0;
      takeText(is(write(key, &text, &size, &error_), key), text, size);
    }
  }

  void readPart() {
    drovan_key* const key = keys_.get(input_);
    std::size_t const index = input_.choice(4);
    drovan_key* part = nullptr;
    drovan_text name = {};
    bool const isThere = is(drovan_key_part(key, index, &name, &part, &error_), key);
    Fuzz::require(isThere == (index < drovan_key_part_count(key)), "there are as many parts as there are");
    takeKey(isThere, part);
  }

  void readNamedPart() {
    drovan_key* const key = keys_.get(input_);
    drovan_key* part = nullptr;
    takeKey(is(drovan_key_part_named(key, text(), &part, &error_), key), part);
  }

  void compare() {
    drovan_key* const a = keys_.get(input_);
    drovan_key* const b = keys_.get(input_);
    int equal = 0;
    int order = 0;
    int back = 0;
    std::uint64_t first = 0;
    std::uint64_t second = 0;
    bool const isTold = is(drovan_key_equal(a, b, &equal, &error_), a, b);
    is(drovan_key_compare(a, b, &order, &error_), a, b);
    is(drovan_key_compare(b, a, &back, &error_), a, b);
    is(drovan_key_hash(a, &first, &error_), a);
    is(drovan_key_hash(b, &second, &error_), b);
    Fuzz::require(!isTold || (equal != 0) == (order == 0), "equal keys come at one place");
    Fuzz::require(!isTold || order == -back, "an order is one");
    Fuzz::require(!isTold || equal == 0 || first == second, "equal keys hash alike");
  }

  void writePath() {
    drovan_resolver* const resolver = resolvers_.get(input_);
    std::vector<Text> texts;
    std::vector<drovan_entry> entries(input_.choice(3));
    for (drovan_entry& entry : entries) {
      entry.entity = texts.emplace_back(input_.upTo('\n'));
      entry.name = texts.emplace_back(input_.upTo('\n'));
      entry.key = keys_.get(input_);
    }
    char* path = nullptr;
    std::size_t size = 0;
    takeText(is(drovan_path_of(resolver, entries.data(), entries.size(), &path, &size, &error_), resolver), path, size);
  }

  void decodeScalar() {
    drovan_schema* const schema = schemas_.get(input_);
    Text const entity = text();
    Text const collection = text();
    Text const name = text();
    Text const value = text();
    drovan_key* key = nullptr;
    auto const flags = static_cast<unsigned>(input_.choice(2));
    takeKey(is(drovan_decode_scalar(schema, entity, collection, name, value, flags, &key, &error_), schema), key);
  }

  void decodeKey() {
    drovan_schema* const schema = schemas_.get(input_);
    Text const entity = text();
    Text const collection = text();
    std::vector<Text> texts;
    std::vector<drovan_field> fields(input_.choice(5));
    for (drovan_field& field : fields) {
      field.path = texts.emplace_back(input_.upTo('\n'));
      field.value = texts.emplace_back(input_.upTo('\n'));
    }
    drovan_key* key = nullptr;
    auto const flags = static_cast<unsigned>(input_.choice(2));
    bool const isThere =
        is(drovan_decode_key(schema, entity, collection, fields.data(), fields.size(), flags, &key, &error_), schema);
    takeKey(isThere, key);
  }

  void makeFilter() {
    drovan_schema* const schema = schemas_.get(input_);
    Text const entity = text();
    Text const collection = text();
    drovan_filter* filter = nullptr;
    auto const flags = static_cast<unsigned>(input_.choice(2));
    bool const isThere = is(drovan_filter_new(schema, entity, collection, flags, &filter, &error_), schema);
    Fuzz::require(isThere == (filter != nullptr), "a filter is there where nothing failed");
    filters_.put(input_, filter);
  }

  void setFilter() {
    drovan_filter* const filter = filters_.get(input_);
    Text const path = text();
    is(drovan_filter_set(filter, path, text(), &error_), filter);
  }

  void matchFilter() {
    drovan_filter* const filter = filters_.get(input_);
    drovan_key* const key = keys_.get(input_);
    int matches = -1;
    bool const isTold = is(drovan_filter_matches(filter, key, &matches, &error_), filter, key);
    Fuzz::require(isTold == (matches != -1), "a key matches or does not");
  }

  /** Handles of other kinds. */
  void misuse() {
    auto* const schema = schemas_.get(input_);
    auto* const key = keys_.get(input_);
    auto* const selection = selections_.get(input_);
    int answer = -1;
    Fuzz::require(!is(drovan_resolve_text(reinterpret_cast<drovan_resolver*>(schema), Text("/"), DROVAN_READ, selection,
                                          &error_)),
                  "a schema is no resolver");
    Fuzz::require(!is(drovan_resolve_text(reinterpret_cast<drovan_resolver*>(key), Text("/"), DROVAN_READ,
                                          reinterpret_cast<drovan_selection*>(key), &error_)),
                  "a key is no resolver");
    Fuzz::require(
        !is(drovan_key_equal(key, reinterpret_cast<drovan_key*>(selection), &answer, &error_)) && answer == -1,
        "a selection is no key");
    drovan_key_free(reinterpret_cast<drovan_key*>(selection));
    drovan_filter_free(reinterpret_cast<drovan_filter*>(schema));
  }

  Fuzz::Input input_;
  drovan_error error_ = DROVAN_ERROR_INIT;
  Slots<drovan_schema, 2> schemas_{drovan_schema_free};
  Slots<drovan_resolver, 2> resolvers_{drovan_resolver_free};
  Slots<drovan_selection, 2> selections_{drovan_selection_free};
  Slots<drovan_key, 4> keys_{drovan_key_free};
  Slots<drovan_filter, 2> filters_{drovan_filter_free};
};

}  // namespace

void Fuzz::run(std::string_view bytes) { Calls(bytes).run(); }
