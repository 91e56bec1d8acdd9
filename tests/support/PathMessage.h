// A message with the members that protoc generates for `gnmi.Path`, as far as gnmi/Message.h uses them.
#pragma once

#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

namespace Test {

class PathMessage {
 public:
  class Elem {
   public:
    std::string const& name() const { return name_; }
    /** In no order that anybody could rely on, as in a message. */
    std::unordered_map<std::string, std::string> const& key() const { return key_; }
    void set_name(std::string name) { name_ = std::move(name); }
    std::unordered_map<std::string, std::string>* mutable_key() { return &key_; }

   private:
    std::string name_;
    std::unordered_map<std::string, std::string> key_;
  };

  std::string const& origin() const { return origin_; }
  std::string const& target() const { return target_; }
  std::vector<Elem> const& elem() const { return elem_; }
  [[deprecated]] std::vector<std::string> const& element() const { return element_; }
  void set_origin(std::string origin) { origin_ = std::move(origin); }
  void set_target(std::string target) { target_ = std::move(target); }
  Elem* add_elem() { return &elem_.emplace_back(); }
  void add_element(std::string element) { element_.push_back(std::move(element)); }

 private:
  std::string origin_;
  std::string target_;
  std::vector<Elem> elem_;
  std::vector<std::string> element_;
};

}  // namespace Test
