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

/** What the fields of a record are read as, besides what they pass on. */
enum class Role : std::uint8_t { Other, Path, Elem, Origin, Tags, Values, Deletes };

struct RoleRow {
  std::string_view name;
  RecordKind kind;
  Role role;
  /** What else the field may be is null. */
  std::string_view shape;
};
constexpr std::array<RoleRow, 6> roles = {{
    {"path", RecordKind::Path, Role::Path, "a text"},
    {"elem", RecordKind::Path, Role::Elem, R"(a list of elements such as {"name": "vrf", "key": {"name": "red"}})"},
    {"origin", RecordKind::Path, Role::Origin, ""},
    {"tags", RecordKind::Event, Role::Tags, "an object of texts"},
    {"values", RecordKind::Event, Role::Values, "an object"},
    {"deletes", RecordKind::Event, Role::Deletes, "a list of texts"},
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
    auto const* const row =
        std::ranges::find_if(roles, [&](RoleRow const& known) { return known.kind == kind_ && known.name == name; });
    role_ = row == roles.end() ? Role::Other : row->role;
    shape_ = row == roles.end() ? "" : row->shape;
    isFieldWhole_ = false;
    record_.fields.push_back({std::move(name)});
    if (role_ == Role::Path || role_ == Role::Elem) {
      (role_ == Role::Path ? hasText_ : hasElems_) = true;
    }
  }

  void wrongShape() { fail("field " + Text::inQuotes(field().name) + " must be " + std::string(shape_)); }
  void fail(std::string flaw) {
    if (record_.flaw.empty()) {
      record_.flaw = std::move(flaw);
    }
  }

  // What a field with a role is made of. `part...` see what is in it, once it has been passed on.

  std::size_t depthInField() const { return depth_ - recordDepth_; }

  void partKey(std::string const& name) {
    if (role_ == Role::Tags) {
      record_.tags.emplace_back(name, "");
    } else if (role_ == Role::Values && depthInField() == 1) {
      record_.paths.push_back(name);
    } else if (role_ == Role::Elem) {
      if (depthInField() == 3) {
        elems_.back().keys.emplace_back(name, "");
      } else if (elemField_ = name; name != "name" && name != "key") {
        fail("unknown field " + Text::inQuotes(name) + " of an element; there are 'name', 'key'");
      }
    }
  }

  void partOpens(char bracket) {
    std::size_t const depth = depthInField();
    bool fits = true;
    switch (role_) {
      case Role::Path:
        fits = false;
        break;
      case Role::Elem:
        fits = depth == 0 ? bracket == '[' : bracket == '{' && (depth == 1 || (depth == 2 && elemField_ == "key"));
        if (fits && depth == 1) {
          elems_.emplace_back();
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
      default:
        break;
    }
    if (!fits) {
      wrongShape();
      // What else is in it has no meaning.
      role_ = Role::Other;
    }
  }

  void part(std::string_view text, Shape shape) {
    std::size_t const depth = depthInField();
    bool fits = true;
    switch (role_) {
      case Role::Path:
        fits = shape == Shape::Text;
        if (fits) {
          pathText_ = text;
        }
        break;
      case Role::Elem:
        fits = shape == Shape::Text && ((depth == 2 && elemField_ == "name") || depth == 3);
        if (fits) {
          (depth == 2 ? elems_.back().nameText : elems_.back().keys.back().second) = text;
        }
        break;
      case Role::Origin:
        if (shape == Shape::Text && depth == 0) {
          origin_ = text;
        }
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
        fits = depth == 1 ? shape == Shape::Text : shape == Shape::None;
        if (fits && depth == 1) {
          record_.paths.emplace_back(text);
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
    if (hasText_ && hasElems_) {
      fail("a path is given as 'path', or as 'elem'; not as both");
    } else if (!hasText_ && !hasElems_) {
      fail("field 'path' is missing, or 'elem'");
    } else if (pathText_) {
      record_.path.emplace().isText = true;
      record_.path->text = *std::move(pathText_);
    } else if (hasElems_) {
      record_.path.emplace().elems = std::move(elems_);
      record_.path->originText = std::move(origin_);
    }
  }

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

  Role role_ = Role::Other;
  std::string_view shape_;
  std::string elemField_;
  bool hasText_ = false;
  bool hasElems_ = false;
  std::optional<std::string> pathText_;
  std::string origin_;
  std::vector<PathInput::Elem> elems_;
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
