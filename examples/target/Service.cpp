#include "Service.h"

#include <fmt/core.h>
#include <gnmi/Message.h>

#include <algorithm>
#include <chrono>
#include <utility>

#include "Status.h"

namespace Target {
namespace {

std::int64_t now() {
  return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::system_clock::now().time_since_epoch())
      .count();
}

[[noreturn]] void refuse(grpc::StatusCode code, std::string text) { throw Refused(code, std::move(text)); }

template <typename Request>
void checkExtensions(Request const& request) {
  if (request.extension_size() != 0) {
    refuse(grpc::StatusCode::UNIMPLEMENTED, "extensions are not supported");
  }
}

void checkEncoding(gnmi::Encoding encoding) {
  if (encoding != gnmi::JSON && encoding != gnmi::JSON_IETF && encoding != gnmi::PROTO) {
    refuse(grpc::StatusCode::UNIMPLEMENTED, "this encoding is not supported: JSON, JSON_IETF and PROTO are");
  }
}

/** The modules that a request asks for. */
template <typename Models>
std::set<std::string> modulesOf(Schema const& schema, Models const& models) {
  std::set<std::string> modules;
  for (gnmi::ModelData const& model : models) {
    if (std::ranges::find(schema.models(), model.name(), &gnmi::ModelData::name) == schema.models().end()) {
      refuse(grpc::StatusCode::INVALID_ARGUMENT, fmt::format("model '{}' is not served", model.name()));
    }
    modules.insert(model.name());
  }
  return modules;
}

/** Answers a call by what `work` does, or by what it refuses. */
template <typename Work>
grpc::ServerUnaryReactor* answer(grpc::CallbackServerContext* context, Work work) {
  grpc::ServerUnaryReactor* const reactor = context->DefaultReactor();
  grpc::Status status;
  try {
    work();
  } catch (Refused const& refused) {
    status = refused.status();
  }
  reactor->Finish(status);
  return reactor;
}

}  // namespace

Tree Store::tree() const {
  std::lock_guard const lock(publishing_);
  return tree_;
}

void Store::commit(std::span<Edit const> edits) {
  std::lock_guard const lock(writing_);
  Tree const before = tree();
  auto const after = std::make_shared<Entry>(*before);
  for (Edit const& edit : edits) {
    apply(schema_, *after, edit);
  }
  std::vector<Changed> changes;
  Place place;
  compareTrees(place, schema_.root(), before.get(), after.get(),
               [&](Place const& at, DataNode const* node, std::span<Value const> values) {
                 changes.push_back({at.resolved(), node, {values.begin(), values.end()}});
               });
  count(*after, changes);
  std::lock_guard const publish(publishing_);
  tree_ = after;
}

void Store::count(Entry& root, std::vector<Changed>& changes) const {
  std::set<Zyn::GenericIf const*> counted;
  std::size_t const others = changes.size();
  for (std::size_t i = 0; i < others; ++i) {
    for (std::size_t s = 0; s < changes[i].at.selections.size(); ++s) {
      Gnmi::Selected const& selected = changes[i].at.selections[s];
      DataNode const& list = schema_.node(selected.collection);
      bool const isGone = changes[i].node == nullptr && s + 1 == changes[i].at.selections.size();
      auto const& key = std::get<Drovan::ZynKeyDecoder::Single>(selected.selection).value;
      if (list.counter == nullptr || isGone || !counted.insert(key.get()).second) {
        continue;
      }
      Gnmi::Resolved at = changes[i].at;
      at.nodes.resize(selected.node + 1);
      at.nodes.insert(at.nodes.end(), {list.counterParent->attr, list.counter->attr});
      at.selections.resize(s + 1);
      at.node = {list.counter->attr, list.counter->type(), list.counter->kind};
      std::uint64_t former = 0;
      findNodes(schema_, root, at, [&](Place&, DataNode const& leaf, Entry const& entry) {
        former = Model::as<std::uint64_t>(*entry.values(leaf).front());
      });
      std::vector const value{readText(list.counter->type(), std::to_string(former + 1))};
      apply(schema_, root, {.kind = Edit::Kind::Update, .at = at, .payload = value});
      changes.push_back({std::move(at), list.counter, value});
    }
  }
}

grpc::ServerUnaryReactor* Service::Capabilities(grpc::CallbackServerContext* context,
                                                gnmi::CapabilityRequest const* request,
                                                gnmi::CapabilityResponse* response) {
  return answer(context, [&] {
    checkExtensions(*request);
    response->mutable_supported_models()->Add(schema_.models().begin(), schema_.models().end());
    for (gnmi::Encoding const encoding : {gnmi::JSON, gnmi::JSON_IETF, gnmi::PROTO}) {
      response->add_supported_encodings(encoding);
    }
    response->set_gnmi_version("0.10.0");
  });
}

grpc::ServerUnaryReactor* Service::Get(grpc::CallbackServerContext* context, gnmi::GetRequest const* request,
                                       gnmi::GetResponse* response) {
  return answer(context, [&] { get(*request, *response); });
}

grpc::ServerUnaryReactor* Service::Set(grpc::CallbackServerContext* context, gnmi::SetRequest const* request,
                                       gnmi::SetResponse* response) {
  return answer(context, [&] { set(*request, *response); });
}

Gnmi::Path Service::absolute(gnmi::Path const& prefix, gnmi::Path const& path, Gnmi::Call call) const {
  auto first = Gnmi::readPath(prefix);
  if (!first) {
    first.error().inPrefix = true;
  }
  Gnmi::Path const start = orRefuse(std::move(first), call);
  Gnmi::Path whole = orRefuse(Gnmi::join(start, orRefuse(Gnmi::readPath(path), call)), call);
  std::size_t keys = 0;
  std::ranges::for_each(whole.elements(), [&](Gnmi::Element const& element) { keys += element.keyCount; });
  if (whole.elements().size() > limits_.elements || keys > limits_.keys) {
    refuse(grpc::StatusCode::RESOURCE_EXHAUSTED,
           fmt::format("a path of {} elements and {} keys: at most {} and {} are taken", whole.elements().size(), keys,
                       limits_.elements, limits_.keys));
  }
  return whole;
}

void Service::writePath(Gnmi::Resolved const& at, gnmi::Path& into) const {
  Gnmi::ModelValues const values;
  Gnmi::writePath(orRefuse(schema_.resolver().canonical(at, values), Gnmi::Call::Get), into);
}

void Service::get(gnmi::GetRequest const& request, gnmi::GetResponse& response) const {
  checkExtensions(request);
  checkEncoding(request.encoding());
  if (!gnmi::GetRequest::DataType_IsValid(request.type())) {
    refuse(grpc::StatusCode::INVALID_ARGUMENT, "this type of data is none of ALL, CONFIG, STATE and OPERATIONAL");
  }
  Filter const filter{.type = request.type(), .modules = modulesOf(schema_, request.use_models())};
  Tree const tree = store_.tree();
  for (gnmi::Path const& wanted : request.path()) {
    gnmi::Notification& notification = *response.add_notification();
    notification.set_timestamp(now());
    notification.mutable_prefix()->set_target(request.prefix().target());
    notification.mutable_prefix()->set_origin(request.prefix().origin());
    auto const addLeaf = [&](Place& place, DataNode const& leaf, Entry const& entry) {
      if (filter.takes(leaf)) {
        gnmi::Update& update = *notification.add_update();
        writePath(place.resolved(), *update.mutable_path());
        writeLeaf(leaf, entry.values(leaf), request.encoding(), *update.mutable_val());
      }
    };
    auto const add = [&](Place& place, DataNode const& node, Entry const& entry) {
      if (node.isLeaf() || request.encoding() == gnmi::PROTO) {
        findLeaves(place, node, entry, addLeaf);
        return;
      }
      gnmi::TypedValue value;
      if (writeTree(node, entry, filter, request.encoding(), value)) {
        gnmi::Update& update = *notification.add_update();
        writePath(place.resolved(), *update.mutable_path());
        *update.mutable_val() = std::move(value);
      }
    };
    auto const path = absolute(request.prefix(), wanted, Gnmi::Call::Get);
    orRefuse(schema_.resolver().expand(path,
                                       [&](Gnmi::Resolved const& node) {
                                         findNodes(schema_, *tree, node, add);
                                         return true;
                                       },
                                       Gnmi::Mode::Read, {.expansions = limits_.expansions}),
             Gnmi::Call::Get);
    if (notification.update().empty()) {
      refuse(grpc::StatusCode::NOT_FOUND, fmt::format("no data at {}", Gnmi::formatPath(path)));
    }
  }
}

void Service::readEdits(gnmi::Path const& prefix, gnmi::Path const& path, gnmi::TypedValue const* value,
                        Edit::Kind kind, std::vector<Edit>& into) const {
  Gnmi::Resolver const& resolver = schema_.resolver();
  Gnmi::Path const whole = absolute(prefix, path, Gnmi::Call::Set);
  auto const nodeOf = [&](Gnmi::Resolved const& at) -> DataNode const& {
    return at.nodes.empty() ? schema_.root() : schema_.node(at.node.attr);
  };
  auto const checkSettable = [&](DataNode const& node) {
    if (node.isState) {
      refuse(grpc::StatusCode::INVALID_ARGUMENT, fmt::format("'{}' is state: it cannot be set", node.name));
    }
  };
  if (kind == Edit::Kind::Delete) {
    std::vector<Gnmi::Resolved> found;
    orRefuse(resolver.expand(whole,
                             [&](Gnmi::Resolved const& at) {
                               found.push_back(at);
                               return true;
                             },
                             Gnmi::Mode::Delete, {.expansions = limits_.expansions}),
             Gnmi::Call::Set);
    for (Gnmi::Resolved& at : found) {
      // What wildcards mean besides configuration is passed over.
      if (DataNode const& node = nodeOf(at); found.size() == 1) {
        checkSettable(node);
        if (node.isKey) {
          refuse(grpc::StatusCode::INVALID_ARGUMENT,
                 fmt::format("'{}' is a key: it goes with its entry alone", node.name));
        }
      }
      into.push_back({.kind = kind, .at = std::move(at)});
    }
    return;
  }

  Edit& edit = into.emplace_back(Edit{.kind = kind});
  auto written = resolver.resolve(whole, edit.at, Gnmi::Mode::Write);
  bool isWholeList = false;
  if (!written && written.error().kind == Gnmi::ErrorClass::KeyMissing) {
    // A list as a whole is written as well: keys are left out of the last element alone, and there all of them.
    Gnmi::Resolved list;
    if (resolver.resolve(whole, list, Gnmi::Mode::Notify) && list.node.kind == Gnmi::NodeKind::List &&
        whole.elements().back().keyCount == 0 &&
        std::ranges::count_if(list.selections, [](Gnmi::Selected const& selected) {
          return std::holds_alternative<Drovan::ZynKeyDecoder::Multiple>(selected.selection);
        }) == 1) {
      edit.at = std::move(list);
      isWholeList = true;
      written = {};
    }
  }
  orRefuse(std::move(written), Gnmi::Call::Set);
  DataNode const& node = nodeOf(edit.at);
  checkSettable(node);
  edit.payload = readPayload(node, *value, isWholeList);

  // The keys in the payload are those of the path.
  std::vector<std::string> texts;
  std::vector<Gnmi::PayloadLeaf> leaves;
  auto const addKey = [&](DataNode const& key, std::vector<Value> const& values) {
    texts.push_back(Model::gnmiText(*values.front()).value_or(""));
    leaves.emplace_back(key.name, "");
  };
  if (node.isKey) {
    addKey(node, std::get<std::vector<Value>>(edit.payload));
  } else if (node.kind == Gnmi::NodeKind::List && !isWholeList) {
    Entry const& payload = *std::get<EntryPtr>(edit.payload);
    for (DataNode const* const key : node.keys) {
      if (Held const* const held = payload.find(*key)) {
        addKey(*key, std::get<std::vector<Value>>(*held));
      } else if (kind == Edit::Kind::Replace) {
        refuse(grpc::StatusCode::INVALID_ARGUMENT,
               fmt::format("the entry of '{}' lacks its key '{}', which a replacement has", node.name, key->name));
      }
    }
  }
  for (std::size_t i = 0; i < leaves.size(); ++i) {
    leaves[i].second = texts[i];
  }
  if (!leaves.empty()) {
    orRefuse(resolver.checkPayload(edit.at.selections.back(), leaves, Gnmi::ModelValues()), Gnmi::Call::Set);
  }
}

void Service::set(gnmi::SetRequest const& request, gnmi::SetResponse& response) {
  if (request.union_replace_size() != 0) {
    refuse(grpc::StatusCode::UNIMPLEMENTED, "union_replace is not supported");
  }
  if (request.delete__size() + request.replace_size() + request.update_size() != 0) {
    checkExtensions(request);
  }
  std::vector<Edit> edits;
  auto const read = [&](std::string_view what, int index, gnmi::Path const& path, gnmi::TypedValue const* value,
                        Edit::Kind kind, gnmi::UpdateResult::Operation operation) {
    try {
      readEdits(request.prefix(), path, value, kind, edits);
    } catch (Refused& refused) {
      refused.text = fmt::format("{}[{}]: {}", what, index, refused.text);
      throw;
    }
    gnmi::UpdateResult& result = *response.add_response();
    *result.mutable_path() = path;
    result.set_op(operation);
  };
  for (int i = 0; i < request.delete__size(); ++i) {
    read("delete", i, request.delete_(i), nullptr, Edit::Kind::Delete, gnmi::UpdateResult::DELETE);
  }
  for (int i = 0; i < request.replace_size(); ++i) {
    auto const& update = request.replace(i);
    read("replace", i, update.path(), &update.val(), Edit::Kind::Replace, gnmi::UpdateResult::REPLACE);
  }
  for (int i = 0; i < request.update_size(); ++i) {
    auto const& update = request.update(i);
    read("update", i, update.path(), &update.val(), Edit::Kind::Update, gnmi::UpdateResult::UPDATE);
  }
  store_.commit(edits);
  *response.mutable_prefix() = request.prefix();
  response.set_timestamp(now());
}

}  // namespace Target
