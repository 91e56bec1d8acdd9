// Compiled types as types of the model. Only yang/ looks in here.
#pragma once

#include <map>
#include <span>
#include <string>
#include <string_view>
#include <tuple>

#include "Zyn/Zyn.h"
#include "model/Schema.h"
#include "yang/Rules.h"

namespace Yang {

/** "/ietf-interfaces:interfaces/interface/name": without choices and cases. */
std::string dataPath(lysc_node const& node);

/** One model type for each type of the context; those of one typedef are one. */
class Types {
 public:
  /** `modules` are those whose leaves will be asked for. */
  Types(Context context, std::span<lys_module const* const> modules, Model::Module& module);

  /** Of a leaf or leaf-list; `path` is its data path. */
  Zyn::ZynType of(lysc_node const& leaf, std::string const& path);

 private:
  /**
   * `path` is the name of a type that has neither a typedef nor a leaf of its own. `isLast`: no further alternative of
   * a union could take what this type refuses.
   */
  Zyn::ZynType of(lysc_type const& reference, lysc_node const& node, std::string const& path, bool isLast);
  Zyn::ZynType make(lysc_type const& type, lysc_node const& node, std::string const& name, bool isLast);
  Zyn::ZynType makeUnion(lysc_type const& type, lysc_node const& node, std::string const& name, bool isLast);

  Context context_;
  Model::Module& module_;
  /** By type; "ietf-inet-types:ip-address". */
  std::map<lysc_type const*, std::string> typedefs_;
  /** By type: the first leaf that it stands in, as references use it too. */
  std::map<lysc_type const*, lysc_node const*> owners_;
  /**
   * By the type, or the bases of an identityref. Types in which identities stand alone depend on the module of the
   * leaf, and on `isLast`.
   */
  std::map<std::tuple<lysc_type const*, std::string, lys_module const*, bool>, Zyn::ZynType> made_;
};

}  // namespace Yang
