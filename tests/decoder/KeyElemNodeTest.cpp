// Turning a tree into a key: constructor arguments in their order, then whatever is left.
#include "tests/support/DecoderTest.h"

namespace Test {
namespace {

class KeyTree : public DecoderTest {
 protected:
  Zyn::ZynType const color = module.enumeration("Color", {{"red", 1}, {"blue", 2}});
  Zyn::ZynType const vlanId = module.wrapper("VlanId", core(Kind::U16));
  Zyn::ZynType const place =
      module.value("Place").attr("row", core(Kind::U8)).attr("seat", core(Kind::U8)).args({"row", "seat"});

  std::string missing(std::string const& name) { return "error: Missing attribute '" + name + "' in the key"; }
};

TEST_F(KeyTree, ANewNodeHasNeitherValueNorChildren) {
  KeyElemNode const node(place, true);
  EXPECT_EQ(node.type, place);
  EXPECT_TRUE(node.useS4Encoding);
  EXPECT_FALSE(node.value);
  EXPECT_TRUE(node.children.empty());
}

TEST_F(KeyTree, NodesMoveAndNeverCopy) {
  static_assert(!std::is_copy_constructible_v<KeyElemNode> && !std::is_copy_assignable_v<KeyElemNode>);
  static_assert(std::is_nothrow_move_constructible_v<KeyElemNode> && std::is_nothrow_move_assignable_v<KeyElemNode>);
  KeyElemNode from(core(Kind::U8), true);
  ASSERT_TRUE(from.insertPathSuffix({}, {}, Velko::String("7")));
  Zyn::GenericIf const* const object = from.value.get();
  KeyElemNode const to(std::move(from));
  EXPECT_EQ(to.type, core(Kind::U8));
  EXPECT_TRUE(to.useS4Encoding);
  EXPECT_EQ(to.value.get(), object);
  EXPECT_EQ(to.value->useCount(), 1U);
  EXPECT_FALSE(from.value);  // NOLINT(bugprone-use-after-move): what is left is promised
}

TEST_F(KeyTree, AMoveTakesTheWholeSubtree) {
  KeyElemNode from(place, true);
  ASSERT_TRUE(insert(from, "row", "1"));
  Velko::Ptr<Zyn::GenericIf> const row = childOf(from, "row")->value;
  KeyElemNode to(core(Kind::U8), false);
  ASSERT_TRUE(to.insertPathSuffix({}, {}, Velko::String("7")));
  Velko::Ptr<Zyn::GenericIf> const old = to.value;
  to = std::move(from);
  EXPECT_EQ(to.type, place);
  EXPECT_TRUE(to.useS4Encoding);
  EXPECT_FALSE(to.value);
  EXPECT_EQ(old->useCount(), 1U);
  EXPECT_EQ(childOf(to, "row")->value.get(), row.get());
  EXPECT_EQ(row->useCount(), 2U);  // ours and the node's
}

TEST_F(KeyTree, AChildMayTakeItsParentsPlace) {
  Zyn::ZynType const outer = module.value("Outer").attr("place", place).attr("other", core(Kind::U8));
  KeyElemNode root(outer, false);
  ASSERT_TRUE(insert(root, "place__row", "1"));
  ASSERT_TRUE(insert(root, "other", "2"));
  root = std::move(root.children.find(outer.attr("place"))->second);
  EXPECT_EQ(root.type, place);
  ASSERT_NE(childOf(root, "row"), nullptr);
  EXPECT_EQ(shown(childOf(root, "row")->value), "1");
  EXPECT_EQ(root.children.size(), 1U);
}

TEST_F(KeyTree, ArgumentsGoInDeclaredOrderWhateverTheOrderOfPaths) {
  EXPECT_EQ(key(place, {{"row", "1"}, {"seat", "2"}}), "Test::Place(row=1, seat=2)");
  EXPECT_EQ(key(place, {{"seat", "2"}, {"row", "1"}}), "Test::Place(row=1, seat=2)");
  Zyn::ZynType const turned =
      module.value("Turned").attr("row", core(Kind::U8)).attr("name", core(Kind::String)).args({"name", "row"});
  EXPECT_EQ(key(turned, {{"row", "1"}, {"name", "a"}}), "Test::Turned(row=1, name=\"a\")");
}

TEST_F(KeyTree, ArgumentsAreTakenOutOfTheTree) {
  KeyElemNode root(place, false);
  ASSERT_TRUE(insert(root, "row", "1"));
  ASSERT_TRUE(insert(root, "seat", "2"));
  Velko::Ptr<Zyn::GenericIf> const row = childOf(root, "row")->value;
  auto const built = root.construct(place);
  EXPECT_EQ(shown(built), "Test::Place(row=1, seat=2)");
  EXPECT_EQ((*built)->useCount(), 1U);
  EXPECT_EQ(row->useCount(), 1U);  // ours: the tree has let go, and the key has a copy
  EXPECT_TRUE(root.children.empty());
  EXPECT_FALSE(root.value);
}

TEST_F(KeyTree, ConstructingTwiceFindsNoArguments) {
  KeyElemNode root(place, false);
  ASSERT_TRUE(insert(root, "row", "1"));
  ASSERT_TRUE(insert(root, "seat", "2"));
  ASSERT_TRUE(root.construct(place));
  EXPECT_EQ(shown(root.construct(place)), missing("row"));
}

TEST_F(KeyTree, WithoutArgumentsEveryChildStays) {
  Zyn::ZynType const plain = module.value("Plain").attr("a", core(Kind::U8)).attr("b", core(Kind::U8));
  KeyElemNode root(plain, false);
  ASSERT_TRUE(insert(root, "a", "1"));
  ASSERT_TRUE(insert(root, "b", "2"));
  EXPECT_EQ(shown(root.construct(plain)), "Test::Plain()");
  EXPECT_EQ(root.children.size(), 2U);
  ASSERT_EQ(shown(root.instantiate()), "done");
  EXPECT_EQ(shown(root.value), "Test::Plain(a=1, b=2)");
  EXPECT_EQ(root.children.size(), 2U);
}

TEST_F(KeyTree, AttributesThatAreNoArgumentsAreSetAfterwards) {
  Zyn::ZynType const tagged = module.value("Tagged")
                                  .attr("name", core(Kind::String))
                                  .attr("tag", core(Kind::U32))
                                  .attr("color", color)
                                  .attr("vlan", vlanId)
                                  .args({"name"});
  EXPECT_EQ(key(tagged, {{"tag", "7"}, {"vlan", "9"}, {"name", "a"}, {"color", "blue"}}),
            "Test::Tagged(name=\"a\", tag=7, color='blue', vlan=Test::VlanId(9))");
  EXPECT_EQ(key(tagged, {{"name", "a"}}), "Test::Tagged(name=\"a\")");
  KeyElemNode root(tagged, false);
  ASSERT_TRUE(insert(root, "name", "a"));
  ASSERT_TRUE(insert(root, "tag", "7"));
  ASSERT_EQ(shown(root.instantiate()), "done");
  ASSERT_EQ(root.children.size(), 1U);
  Velko::Ptr<Zyn::GenericIf> const tag = childOf(root, "tag")->value;
  EXPECT_EQ(tag->useCount(), 3U);  // ours, the node's and the key's
}

TEST_F(KeyTree, ALeftoverCompositeIsCompletedBeforeItIsSet) {
  Zyn::ZynType const inner = module.value("Inner").attr("a", core(Kind::U8)).attr("b", core(Kind::U8)).args({"a"});
  Zyn::ZynType const whole = module.value("Whole").attr("x", core(Kind::U8)).attr("inner", inner).args({"x"});
  EXPECT_EQ(key(whole, {{"inner__b", "2"}, {"x", "0"}, {"inner__a", "1"}}),
            "Test::Whole(x=0, inner=Test::Inner(a=1, b=2))");
  EXPECT_EQ(key(whole, {{"inner__b", "2"}, {"x", "0"}}), missing("a"));
}

TEST_F(KeyTree, AMissingScalarArgumentIsNamed) {
  EXPECT_EQ(key(place, {}), missing("row"));
  EXPECT_EQ(key(place, {{"row", "1"}}), missing("seat"));
  EXPECT_EQ(key(place, {{"seat", "1"}}), missing("row"));
  Zyn::ZynType const either = module.unionOf("Either", {{"number", core(Kind::U8)}});
  for (Zyn::ZynType const type : {color, vlanId, either, core(Kind::String), core(Kind::IpPrefix)}) {
    std::string const name = "Needs" + std::string(Model::shortName(type));
    EXPECT_EQ(key(module.value(name).attr("x", type).args({"x"}), {}), missing("x")) << type.name();
  }
}

TEST_F(KeyTree, AMissingS4ArgumentIsScalarInThatModeOnly) {
  Zyn::ZynType const flag = module.value("Flag").attr("on", core(Kind::Bool)).args({"on"}).s4({{"on", 1}});
  Zyn::ZynType const keyType = module.value("Key").attr("flag", flag).attr("on", core(Kind::Bool)).args({"flag"});
  EXPECT_EQ(key(keyType, {{"on", "true"}}, true), missing("flag"));
  EXPECT_EQ(key(keyType, {{"on", "true"}}, false), "Test::Key(flag=Test::Flag(on=true))");
}

TEST_F(KeyTree, AnAbsentCompositeIsBuiltFromTheSameNodesChildren) {
  Zyn::ZynType const keyType = module.value("Key")
                                   .attr("place", place)
                                   .attr("row", core(Kind::U8))
                                   .attr("seat", core(Kind::U8))
                                   .attr("name", core(Kind::String))
                                   .args({"name", "place"});
  traceCalls();
  EXPECT_EQ(key(keyType, {{"row", "1"}, {"seat", "2"}, {"name", "a"}}),
            "Test::Key(place=Test::Place(row=1, seat=2), name=\"a\")");
  std::vector<std::string> const all = taken();
  EXPECT_THAT(std::vector(all.end() - 6, all.end()),
              ElementsAre("KeyElemNode::instantiate: KeyElem type: 'Test::Key'",
                          "KeyElemNode::construct: Constructing type: 'Test::Key'",
                          "KeyElemNode::instantiate: KeyElem type: 'Zyn::String'",
                          "KeyElemNode::construct: Constructing type: 'Test::Place'",
                          "KeyElemNode::instantiate: KeyElem type: 'Zyn::U8'",
                          "KeyElemNode::instantiate: KeyElem type: 'Zyn::U8'"));
  EXPECT_EQ(key(keyType, {{"row", "1"}, {"name", "a"}}), missing("seat"));
  EXPECT_EQ(key(keyType, {{"place__row", "1"}, {"place__seat", "2"}, {"name", "a"}}),
            "Test::Key(place=Test::Place(row=1, seat=2), name=\"a\")");
}

TEST_F(KeyTree, NamesOfANestedTypeAreLookedUpOnTheNodesOwn) {
  // `row` is a number in Place, but a string in the key: the key's attribute counts, and the type has the last word.
  Zyn::ZynType const keyType = module.value("Key")
                                   .attr("place", place)
                                   .attr("row", core(Kind::String))
                                   .attr("seat", core(Kind::U8))
                                   .args({"place"});
  std::string const refused = key(keyType, {{"row", "1"}, {"seat", "2"}});
  EXPECT_EQ(refused.substr(0, 5), "error");
  EXPECT_EQ(refused.find("Missing"), std::string::npos) << refused;
}

TEST_F(KeyTree, ANestedNameThatTheNodeDoesNotHaveIsMissing) {
  Zyn::ZynType const keyType = module.value("Key").attr("place", place).args({"place"});
  EXPECT_EQ(key(keyType, {}), missing("row"));
}

TEST_F(KeyTree, ArgumentsThatLeadBackToEachOtherEnd) {
  // A's argument is b, B's is a, and on the key both names are composites: each would be built for the other.
  Zyn::ZynType const a = module.value("A").attr("b", core(Kind::U8)).args({"b"});
  Zyn::ZynType const b = module.value("B").attr("a", core(Kind::U8)).args({"a"});
  Zyn::ZynType const keyType = module.value("Key").attr("a", a).attr("b", b).attr("x", core(Kind::U8)).args({"a", "x"});
  traceCalls();
  EXPECT_EQ(key(keyType, {}), missing("a"));
  EXPECT_THAT(taken(), ElementsAre("KeyElemNode::instantiate: KeyElem type: 'Test::Key'",
                                   "KeyElemNode::construct: Constructing type: 'Test::Key'",
                                   "KeyElemNode::construct: Constructing type: 'Test::A'",
                                   "KeyElemNode::construct: Constructing type: 'Test::B'"));
  EXPECT_EQ(key(keyType, {{"x", "1"}}), missing("a"));
  EXPECT_EQ(key(keyType, {{"a__b", "1"}}), missing("x"));
}

TEST_F(KeyTree, ATypeThatNeedsItselfEnds) {
  Zyn::ZynType const a = module.value("A").attr("x", core(Kind::U8)).attr("a", core(Kind::U8)).args({"x", "a"});
  Zyn::ZynType const keyType = module.value("Key").attr("a", a).attr("x", core(Kind::U8)).args({"a"});
  EXPECT_EQ(key(keyType, {}), missing("x"));
  // The first round uses up x, so the second is no repetition: it begins, and misses x.
  KeyElemNode root(keyType, false);
  ASSERT_TRUE(insert(root, "x", "1"));
  traceCalls();
  EXPECT_EQ(shown(root.instantiate()), missing("x"));
  EXPECT_THAT(taken(), ElementsAre("KeyElemNode::instantiate: KeyElem type: 'Test::Key'",
                                   "KeyElemNode::construct: Constructing type: 'Test::Key'",
                                   "KeyElemNode::construct: Constructing type: 'Test::A'",
                                   "KeyElemNode::instantiate: KeyElem type: 'Zyn::U8'",
                                   "KeyElemNode::construct: Constructing type: 'Test::A'"));
}

TEST_F(KeyTree, TypesThatNeedTheNextOneEndBeforeTheStackDoes) {
  // A type's argument is the next type only as an attribute of the key, so the types do not nest.
  auto const nameOf = [](std::size_t i) { return "a" + std::to_string(i); };
  auto const built = [&](std::size_t parts) {
    std::string const of = "Of" + std::to_string(parts) + "_";
    std::vector<Model::Attribute> attrs;
    for (std::size_t i = 0; i < parts - 1; ++i) {
      std::string const next = nameOf(i + 1);
      attrs.push_back({nameOf(i), module.value(of + std::to_string(i)).attr(next, core(Kind::U8)).args({next})});
    }
    attrs.push_back({nameOf(parts - 1), module.value(of + "Last")});
    return key(module.value(of + "Key").attrs(attrs).args({nameOf(0)}), {});
  };
  EXPECT_EQ(built(999), "error: Test::Of999_997.a998: expected Zyn::U8, found Test::Of999_Last");
  // What would be deeper cannot be made.
  EXPECT_THROW(built(1000), Model::SchemaError);
}

TEST_F(KeyTree, RemovingAnyArgumentIsReportedAndEnds) {
  // Nine arguments, three levels, and one name shared between the levels.
  auto deepBuilder = module.value("Deep").attr("a", core(Kind::U8)).attr("b", core(Kind::U8)).args({"a", "b"});
  Zyn::ZynType const deep = deepBuilder;
  Zyn::ZynType const mid = module.value("Mid").attr("deep", deep).attr("c", core(Kind::U8)).args({"deep", "c"});
  auto builder = module.value("Key").attr("mid", mid).attr("a", core(Kind::U8)).attr("deep", deep);
  std::vector<std::string> names = {"mid", "a", "deep"};
  for (char name = 'p'; name < 'v'; ++name) {
    names.emplace_back(1, name);
    builder.attr(names.back(), core(Kind::U8));
  }
  std::vector<std::string_view> const args(names.begin(), names.end());
  Zyn::ZynType const keyType = builder.args(args);
  std::vector<std::pair<std::string, std::string>> paths = {
      {"mid__deep__a", "a"}, {"mid__deep__b", "b"}, {"mid__c", "c"}, {"a", "a"}, {"deep__a", "a"}, {"deep__b", "b"}};
  for (std::size_t i = 3; i < names.size(); ++i) {
    paths.emplace_back(names[i], names[i]);
  }
  for (std::size_t without = 0; without <= paths.size(); ++without) {
    KeyElemNode root(keyType, false);
    for (std::size_t i = 0; i < paths.size(); ++i) {
      if (i != without) {
        ASSERT_TRUE(insert(root, paths[i].first, "1"));
      }
    }
    auto const done = root.instantiate();
    EXPECT_EQ(shown(done), without < paths.size() ? missing(paths[without].second) : "done") << without;
  }
}

TEST_F(KeyTree, NineArgumentsAreAsGoodAsEight) {
  for (std::size_t const count : {8U, 9U, 20U}) {
    auto builder = module.value("Wide" + std::to_string(count));
    std::vector<std::string> names;
    for (std::size_t i = 0; i < count; ++i) {
      names.push_back("f" + std::to_string(i));
      builder.attr(names.back(), core(Kind::U8));
    }
    std::vector<std::string_view> const args(names.begin(), names.end());
    builder.args(args);
    KeyElemNode root(builder, false);
    std::string wanted = "Test::Wide" + std::to_string(count) + "(";
    for (std::size_t i = 0; i < count; ++i) {
      ASSERT_TRUE(insert(root, names[i], std::to_string(i)));
      wanted += (i == 0 ? "" : ", ") + names[i] + "=" + std::to_string(i);
    }
    ASSERT_EQ(shown(root.instantiate()), "done");
    EXPECT_EQ(shown(root.value), wanted + ")");
  }
}

TEST_F(KeyTree, TheFirstErrorEndsAndWhatWasUsedStaysGone) {
  Zyn::ZynType const keyType = module.value("Key")
                                   .attr("a", core(Kind::U8))
                                   .attr("place", place)
                                   .attr("z", core(Kind::U8))
                                   .attr("extra", core(Kind::U8))
                                   .args({"a", "place", "z"});
  KeyElemNode root(keyType, false);
  ASSERT_TRUE(insert(root, "a", "1"));
  ASSERT_TRUE(insert(root, "place__seat", "2"));
  ASSERT_TRUE(insert(root, "z", "3"));
  ASSERT_TRUE(insert(root, "extra", "4"));
  EXPECT_EQ(shown(root.instantiate()), missing("row"));
  EXPECT_FALSE(root.value);
  EXPECT_EQ(childOf(root, "a"), nullptr);
  EXPECT_NE(childOf(root, "place"), nullptr);
  EXPECT_NE(childOf(root, "z"), nullptr);
  EXPECT_NE(childOf(root, "extra"), nullptr);
}

TEST_F(KeyTree, ARefusedArgumentListGivesTheTypesWords) {
  Zyn::ZynType const keyType = module.value("Key").attr("a", core(Kind::U8)).args({"a"});
  KeyElemNode root(keyType, false);
  ASSERT_TRUE(insert(root, "a", "1"));
  // A child of another type than its attribute's: nobody checks but the type.
  root.children.begin()->second = KeyElemNode(core(Kind::U16), false);
  ASSERT_TRUE(root.children.begin()->second.insertPathSuffix({}, {}, Velko::String("1")));
  Zyn::GenericIfArgs args;
  args.push_back(root.children.begin()->second.value);
  std::string wanted;
  try {
    (void)keyType.genericIf(args, false);
  } catch (Velko::Exception const& exception) {
    wanted = "error: " + std::string(exception.what().view());
  }
  EXPECT_NE(wanted, "");
  EXPECT_EQ(shown(root.instantiate()), wanted);
  EXPECT_TRUE(root.children.empty());
  EXPECT_FALSE(root.value);
}

TEST_F(KeyTree, ARefusedAttributeGivesTheTypesWordsAndLeavesTheValue) {
  Zyn::ZynType const keyType = module.value("Key").attr("a", core(Kind::U8)).attr("b", core(Kind::U8)).args({"a"});
  KeyElemNode root(keyType, false);
  ASSERT_TRUE(insert(root, "a", "1"));
  ASSERT_TRUE(insert(root, "b", "2"));
  root.children.find(keyType.attr("b"))->second = KeyElemNode(core(Kind::U16), false);
  ASSERT_TRUE(root.children.find(keyType.attr("b"))->second.insertPathSuffix({}, {}, Velko::String("2")));
  std::string wanted;
  try {
    keyType.attr("b").genericIfSet(keyType.genericIf(static_cast<void const*>(nullptr), false), nullptr,
                                   childOf(root, "b")->value);
  } catch (Velko::Exception const& exception) {
    wanted = "error: " + std::string(exception.what().view());
  }
  EXPECT_NE(wanted, "");
  EXPECT_EQ(shown(root.instantiate()), wanted);
  EXPECT_EQ(shown(root.value), "Test::Key(a=1)");
  EXPECT_EQ(root.children.size(), 1U);
  // The value is there, so a second call has nothing to do: this is why a tree is dropped after an error.
  EXPECT_EQ(shown(root.instantiate()), "done");
}

TEST_F(KeyTree, AnErrorOfALeftoverChildLeavesTheValue) {
  Zyn::ZynType const keyType = module.value("Key").attr("a", core(Kind::U8)).attr("place", place).args({"a"});
  KeyElemNode root(keyType, false);
  ASSERT_TRUE(insert(root, "a", "1"));
  ASSERT_TRUE(insert(root, "place__row", "2"));
  EXPECT_EQ(shown(root.instantiate()), missing("seat"));
  EXPECT_EQ(shown(root.value), "Test::Key(a=1)");
}

TEST_F(KeyTree, AForeignChildIsFoundOutWhenItIsSet) {
  Zyn::ZynType const keyType = module.value("Key").attr("a", core(Kind::U8)).args({"a"});
  KeyElemNode root(keyType, false);
  ASSERT_TRUE(insert(root, "a", "1"));
  KeyElemNode& foreign = root.children.try_emplace(place.attr("row"), core(Kind::U8), false).first->second;
  ASSERT_TRUE(foreign.insertPathSuffix({}, {}, Velko::String("2")));
  EXPECT_EQ(shown(root.construct(keyType)), "Test::Key(a=1)");
  EXPECT_EQ(root.children.size(), 1U);
  ASSERT_TRUE(insert(root, "a", "1"));
  EXPECT_EQ(shown(root.instantiate()).substr(0, 5), "error");
}

TEST_F(KeyTree, AScalarRootIsTakenAsItIs) {
  KeyElemNode root(core(Kind::U32), false);
  ASSERT_TRUE(root.insertPathSuffix({}, {}, Velko::String("7")));
  Zyn::GenericIf const* const object = root.value.get();
  traceCalls();
  EXPECT_EQ(shown(root.instantiate()), "done");
  EXPECT_EQ(root.value.get(), object);
  EXPECT_THAT(taken(), ElementsAre("KeyElemNode::instantiate: KeyElem type: 'Zyn::U32'"));
}

TEST_F(KeyTree, ASecondCallDoesNothing) {
  KeyElemNode root(place, false);
  ASSERT_TRUE(insert(root, "row", "1"));
  ASSERT_TRUE(insert(root, "seat", "2"));
  ASSERT_EQ(shown(root.instantiate()), "done");
  Zyn::GenericIf const* const object = root.value.get();
  traceCalls();
  EXPECT_EQ(shown(root.instantiate()), "done");
  EXPECT_EQ(root.value.get(), object);
  EXPECT_EQ(root.value->useCount(), 1U);
  EXPECT_THAT(taken(), ElementsAre("KeyElemNode::instantiate: KeyElem type: 'Test::Place'"));
}

TEST_F(KeyTree, AValueAtTheRootHidesItsChildren) {
  Zyn::ZynType const range =
      module.value("Range").attr("low", core(Kind::U8)).attr("high", core(Kind::U8)).args({"low"}).gnmi("{low}");
  KeyElemNode root(range, false);
  ASSERT_TRUE(insert(root, "high", "9"));
  ASSERT_TRUE(root.insertPathSuffix({}, {}, Velko::String("1")));
  ASSERT_EQ(shown(root.instantiate()), "done");
  EXPECT_EQ(shown(root.value), "Test::Range(low=1)");
}

TEST_F(KeyTree, AnEmptyTypeCannotBeBuilt) {
  KeyElemNode root(Zyn::ZynType(), false);
  EXPECT_EQ(shown(insert(root, "a", "1")), "error: Attribute 'a' not found on Type ''");
  EXPECT_EQ(shown(root.instantiate()).substr(0, 5), "error");
  EXPECT_FALSE(root.value);
}

TEST_F(KeyTree, AThreeLevelKeyTracesItsWholeStory) {
  Zyn::ZynType const hall = module.value("Hall").attr("place", place).attr("name", core(Kind::String)).args({"place"});
  Zyn::ZynType const keyType = module.value("Key").attr("hall", hall).args({"hall"});
  KeyElemNode root(keyType, false);
  ASSERT_TRUE(insert(root, "hall__place__row", "1"));
  ASSERT_TRUE(insert(root, "hall__place__seat", "2"));
  ASSERT_TRUE(insert(root, "hall__name", "Aula"));
  traceCalls();
  ASSERT_EQ(shown(root.instantiate()), "done");
  EXPECT_THAT(taken(), ElementsAre("KeyElemNode::instantiate: KeyElem type: 'Test::Key'",
                                   "KeyElemNode::construct: Constructing type: 'Test::Key'",
                                   "KeyElemNode::instantiate: KeyElem type: 'Test::Hall'",
                                   "KeyElemNode::construct: Constructing type: 'Test::Hall'",
                                   "KeyElemNode::instantiate: KeyElem type: 'Test::Place'",
                                   "KeyElemNode::construct: Constructing type: 'Test::Place'",
                                   "KeyElemNode::instantiate: KeyElem type: 'Zyn::U8'",
                                   "KeyElemNode::instantiate: KeyElem type: 'Zyn::U8'",
                                   "KeyElemNode::instantiate: KeyElem type: 'Zyn::String'"));
  EXPECT_EQ(shown(root.value), "Test::Key(hall=Test::Hall(place=Test::Place(row=1, seat=2), name=\"Aula\"))");
}

static_assert(noexcept(std::declval<KeyElemNode&>().instantiate()));
static_assert(noexcept(std::declval<KeyElemNode&>().construct({})));

}  // namespace
}  // namespace Test
