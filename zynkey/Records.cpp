#include "zynkey/Records.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <iterator>
#include <nlohmann/json.hpp>

#include "text/Messages.h"
#include "zynkey/Requests.h"

namespace ZynKey {
namespace {

using Json = nlohmann::json;
using Shape = Field::Shape;

/** What the fields of a record, and of a prefix in it, are read as, besides what they pass on. */
enum class Role : std::uint8_t { Other, Path, Elem, Origin, Target, Prefix, Tags, Values, Deletes };

enum Place : std::uint8_t { InPath = 1, InPrefix = 2, InEvent = 4 };

struct RoleRow {
  std::string_view name;
  unsigned places;
  Role role;
  /** What else the field may be is null. */
  std::string_view shape;
};
constexpr std::array<RoleRow, 8> roles = {{
    {"path", InPath | InPrefix, Role::Path, "a text"},
    {"elem", InPath | InPrefix, Role::Elem, R"(a list of elements such as {"name": "vrf", "key": {"name": "red"}})"},
    {"origin", InPath | InPrefix, Role::Origin, "a text"},
    {"target", InPrefix, Role::Target, "a text"},
    {"prefix", InPath, Role::Prefix, "an object with fields of a path"},
    {"tags", InEvent, Role::Tags, "an object of texts, numbers and booleans"},
    {"values", InEvent, Role::Values, "an object"},
    {"deletes", InEvent, Role::Deletes, "a list of texts"},
}};

constexpr std::string_view pathExample = R"(a line is an object such as {"path": "/vrf[name=red]"})";
constexpr std::string_view eventExample =
    R"(an event is an object such as {"tags": {"vrf_name": "red"}, "values": {}})";

/** Sorts by name; the first one that stands twice, where one does. */
template <typename Items, typename NameOf = std::identity>
std::optional<std::string_view> twice(Items& items, NameOf nameOf = {}) {
  std::ranges::sort(items, {}, nameOf);
  auto const same = std::ranges::adjacent_find(items, {}, nameOf);
  return same == items.end() ? std::nullopt : std::optional<std::string_view>(std::invoke(nameOf, *same));
}

/** Takes the parser's events. It goes on after what is wrong with a record, for the fields behind it. */
class Reader final : public nlohmann::json_sax<Json> {
 public:
  Reader(RecordKind kind, std::function<void(Record&)> const& take) : kind_(kind), take_(take) {}

  bool null() override { return scalar("null", Shape::None); }
  bool boolean(bool value) override { return scalar(value ? "true" : "false", Shape::Literal); }
  bool number_integer(number_integer_t value) override { return integer(value); }
  bool number_unsigned(number_unsigned_t value) override { return integer(value); }
  bool number_float(number_float_t, string_t const& text) override { return scalar(text, Shape::Literal); }
  bool string(string_t& text) override { return scalar(text, Shape::Text); }
  bool binary(binary_t&) override { return true; }
  bool start_object(std::size_t) override { return open('{'); }
  bool start_array(std::size_t) override { return open('['); }
  bool end_object() override { return close('}'); }
  bool end_array() override { return close(']'); }

  bool key(string_t& name) override {
    if (inField() && depth_ == recordDepth_) {
      startField(name);
    } else if (inField()) {
      std::string& text = separated();
      appendJsonString(name, text);
      text += ':';
      partKey(name);
    }
    return true;
  }

  bool parse_error(std::size_t position, std::string const&, nlohmann::detail::exception const& exception) override {
    if (record_.flaw.empty()) {
      record_.flawAt = position == 0 ? 0 : position - 1;
    }
    fail("not JSON: " + parserReason(exception.what()));
    isBroken_ = true;
    return false;
  }

  /** The line has ended: the record that it is, or what was read of one before it broke off. */
  void finish() {
    if (isList_ && !isBroken_) {
      return;
    }
    if (recordDepth_ == 0) {
      fail(std::string(kind_ == RecordKind::Path ? pathExample : eventExample));
    }
    if (!isFieldWhole_) {
      record_.fields.pop_back();
    }
    take();
  }

 private:
  // Depths count the containers that are open: in a record they are `recordDepth_`, in a field that is an object or a
  // list one more.

  bool open(char bracket) {
    if (depth_ == 0) {
      isList_ = bracket == '[' && kind_ == RecordKind::Event;
      recordDepth_ = bracket == '{' ? 1 : isList_ ? 2 : 0;
    } else if (isList_ && depth_ == 1) {
      isRecord_ = bracket == '{';
    } else if (inField()) {
      if (depth_ == recordDepth_) {
        field().shape = Shape::Json;
      }
      separated() += bracket;
      partOpens(bracket);
    }
    ++depth_;
    return true;
  }

  bool close(char bracket) {
    --depth_;
    if (isList_ && depth_ == 1) {
      if (!isRecord_) {
        fail(std::string(eventExample));
      }
      take();
    } else if (inField() && depth_ >= recordDepth_) {
      field().value += bracket;
      isFieldWhole_ = depth_ == recordDepth_;
    }
    return true;
  }

  bool scalar(std::string_view text, Shape shape) {
    if (isList_ && depth_ == 1) {
      fail(std::string(eventExample));
      take();
    } else if (inField()) {
      if (depth_ == recordDepth_) {
        field().shape = shape;
        field().value = text;
        isFieldWhole_ = true;
      } else if (shape == Shape::Text) {
        appendJsonString(text, separated());
      } else {
        separated() += text;
      }
      part(text, shape);
    }
    return true;
  }

  template <typename Number>
  bool integer(Number value) {
    std::array<char, 24> digits;
    char const* const end = std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr;
    return scalar({digits.data(), end}, Shape::Literal);
  }

  bool inField() const { return recordDepth_ != 0 && depth_ >= recordDepth_ && isRecord_; }
  Field& field() { return record_.fields.back(); }

  /** The text of the field that is read, ready for what comes next in it. */
  std::string& separated() {
    std::string& text = field().value;
    if (!text.empty() && text.back() != '{' && text.back() != '[' && text.back() != ':') {
      text += ',';
    }
    return text;
  }

  void startField(std::string& name) {
    inPrefix_ = false;
    startRole(name, kind_ == RecordKind::Path ? InPath : InEvent);
    isFieldWhole_ = false;
    record_.fields.push_back({std::move(name)});
  }

  /** Whether the field has a role there. */
  bool startRole(std::string_view name, Place place) {
    auto const* const row = std::ranges::find_if(
        roles, [&](RoleRow const& known) { return (known.places & place) != 0 && known.name == name; });
    role_ = row == roles.end() ? RoleRow{.name = {}, .places = 0, .role = Role::Other, .shape = {}} : *row;
    if (role_.role == Role::Path || role_.role == Role::Elem) {
      (role_.role == Role::Path ? given().hasText : given().hasElems) = true;
    }
    return row != roles.end();
  }

  void wrongShape() { fail("field " + Text::inQuotes(role_.name) + " must be " + std::string(role_.shape)); }
  void fail(std::string flaw) {
    if (record_.flaw.empty()) {
      record_.flaw = std::move(flaw);
    }
  }

  // What a field with a role is made of. `part...` see what is in it, once it has been passed on.

  std::size_t depthInField() const { return depth_ - recordDepth_ - (inPrefix_ ? 1 : 0); }

  void partKey(std::string const& name) {
    if (inPrefix_ && depthInField() == 0) {
      prefixKey(name);
    } else if (role_.role == Role::Tags) {
      record_.tags.emplace_back(name, "");
    } else if (role_.role == Role::Values && depthInField() == 1) {
      record_.values.push_back(name);
    } else if (role_.role == Role::Elem) {
      elemKey(name);
    }
  }

  void prefixKey(std::string const& name) {
    if (!startRole(name, InPrefix)) {
      fail("field 'prefix' takes no field " + Text::inQuotes(name));
    } else {
      once(name, prefixSeen_);
    }
  }

  void elemKey(std::string const& name) {
    if (depthInField() == 3) {
      given().elems.back().keys.emplace_back(kept(name), "");
    } else if (elemField_ = name; name != "name" && name != "key") {
      fail("unknown field " + Text::inQuotes(name) + " of an element; there are 'name', 'key'");
    } else {
      once(name, elemSeen_);
    }
  }

  /** `name` is one of few. */
  void once(std::string const& name, std::vector<std::string>& seen) {
    if (std::ranges::find(seen, name) != seen.end()) {
      fail("field " + Text::inQuotes(name) + " is given twice");
    } else {
      seen.push_back(name);
    }
  }

  void partOpens(char bracket) {
    std::size_t const depth = depthInField();
    bool fits = true;
    switch (role_.role) {
      case Role::Path:
      case Role::Origin:
      case Role::Target:
        fits = false;
        break;
      case Role::Elem:
        fits = depth == 0 ? bracket == '[' : bracket == '{' && (depth == 1 || (depth == 2 && elemField_ == "key"));
        if (fits && depth == 1) {
          given().elems.emplace_back();
          elemSeen_.clear();
        }
        break;
      case Role::Prefix:
        fits = bracket == '{';
        if (fits) {
          inPrefix_ = true;
          record_.prefix.emplace();
          role_.role = Role::Other;
        }
        break;
      case Role::Tags:
        fits = depth == 0 && bracket == '{';
        break;
      case Role::Values:
        fits = depth != 0 || bracket == '{';
        break;
      case Role::Deletes:
        fits = depth == 0 && bracket == '[';
        break;
      case Role::Other:
        break;
    }
    if (!fits) {
      wrongShape();
      // What else is in it has no meaning.
      role_.role = Role::Other;
    }
  }

  void part(std::string_view text, Shape shape) {
    std::size_t const depth = depthInField();
    bool const isText = shape == Shape::Text;
    bool fits = true;
    switch (role_.role) {
      case Role::Path:
        fits = isText;
        if (fits) {
          given().text = kept(text);
        }
        break;
      case Role::Elem:
        fits = isText && ((depth == 2 && elemField_ == "name") || depth == 3);
        if (fits) {
          (depth == 2 ? given().elems.back().nameText : given().elems.back().keys.back().second) = kept(text);
        }
        break;
      case Role::Origin:
      case Role::Target:
        fits = isText || shape == Shape::None;
        if (isText) {
          (role_.role == Role::Origin ? given().origin : given().target) = kept(text);
        }
        break;
      case Role::Prefix:
        fits = shape == Shape::None;
        break;
      case Role::Tags:
        fits = depth == 1 ? shape != Shape::None : shape == Shape::None;
        if (fits && depth == 1) {
          record_.tags.back().second = text;
        }
        break;
      case Role::Values:
        fits = depth != 0 || shape == Shape::None;
        break;
      case Role::Deletes:
        fits = depth == 1 ? isText : shape == Shape::None;
        if (fits && depth == 1) {
          record_.deletes.emplace_back(text);
        }
        break;
      case Role::Other:
        break;
    }
    if (!fits) {
      wrongShape();
    }
  }

  void take() {
    std::vector<std::string_view> names;
    std::ranges::transform(record_.fields, std::back_inserter(names), &Field::name);
    if (auto const name = twice(names)) {
      fail("field " + Text::inQuotes(*name) + " is given twice");
    }
    if (kind_ == RecordKind::Path) {
      takePath();
    }
    if (auto const name = twice(record_.tags, &NamedTexts::value_type::first)) {
      fail("tag " + Text::inQuotes(*name) + " is given twice");
    }
    take_(record_);
    record_ = {};
    isRecord_ = true;
  }

  void takePath() {
    std::erase_if(record_.fields, [](Field const& one) { return one.name == "path" || one.name == "elem"; });
    for (Given const& one : {std::cref(path_), std::cref(prefix_)}) {
      if (one.hasText && (one.hasElems || one.origin || one.target)) {
        fail("a path is given as 'path', or in the fields of a message; not as both");
      }
    }
    if (!path_.hasText && !path_.hasElems) {
      fail("field 'path' is missing, or 'elem'");
    } else if (path_.text || path_.hasElems) {
      record_.path = inputOf(std::move(path_));
    }
    if (record_.prefix) {
      record_.prefix = inputOf(std::move(prefix_));
    }
  }

  /** What fields say of a path. */
  struct Given {
    bool hasText = false;
    bool hasElems = false;
    std::optional<std::string_view> text;
    std::optional<std::string_view> origin;
    std::optional<std::string_view> target;
    std::vector<PathInput::Elem> elems;
  };

  static PathInput inputOf(Given given) {
    PathInput input;
    input.isText = given.text.has_value();
    input.text = given.text.value_or("");
    if (!input.isText) {
      input.elems = std::move(given.elems);
      input.originText = given.origin.value_or("");
      input.targetText = given.target.value_or("");
    }
    return input;
  }

  std::string_view kept(std::string_view text) { return record_.owned.emplace_front(text); }
  Given& given() { return inPrefix_ ? prefix_ : path_; }

  RecordKind kind_;
  std::function<void(Record&)> const& take_;
  Record record_;
  std::size_t depth_ = 0;
  /** 0 where the line has no records. */
  std::size_t recordDepth_ = 0;
  bool isList_ = false;
  /** Whether what is open in a list is a record. */
  bool isRecord_ = true;
  bool isFieldWhole_ = true;
  bool isBroken_ = false;

  /** Of the field that is read, or of the one in the prefix. */
  RoleRow role_ = {.name = {}, .places = 0, .role = Role::Other, .shape = {}};
  bool inPrefix_ = false;
  std::vector<std::string> prefixSeen_;
  std::string elemField_;
  std::vector<std::string> elemSeen_;
  Given path_;
  Given prefix_;
};

}  // namespace

void write(std::string_view name, Field const& field, CellWriter& cells) {
  switch (field.shape) {
    case Shape::None:
      return cells.none(name);
    case Shape::Text:
      return cells.text(name, field.value);
    case Shape::Literal:
      return cells.literal(name, field.value);
    case Shape::Json:
      return cells.json(name, field.value);
  }
}

Field const* Record::field(std::string_view name) const {
  auto const found = std::ranges::find(fields, name, &Field::name);
  return found == fields.end() ? nullptr : &*found;
}

void readRecords(std::string_view line, RecordKind kind, std::function<void(Record&)> const& take) {
  if (std::size_t const whole = utf8Prefix(line); whole != line.size()) {
    readRecords(toUtf8(line), kind, [&](Record& record) {
      record.flaw = std::string(noUtf8);
      record.flawAt = whole;
      take(record);
    });
    return;
  }
  Reader reader(kind, take);
  Json::sax_parse(line.data(), line.data() + line.size(), &reader);
  reader.finish();
}

}  // namespace ZynKey
