/* Every function, every class and every misuse of the C interface, as a C program sees them. */
#include "drovan.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static int failures = 0;
static int checks = 0;
static drovan_error error = DROVAN_ERROR_INIT;

static void check(int holds, char const *what, int line) {
  ++checks;
  if (!holds) {
    ++failures;
    fprintf(stderr, "%s:%d: does not hold: %s\n  the last error: %s: %s\n", __FILE__, line, what,
            drovan_class_name(error.kind), error.text.data);
  }
}

static int same(drovan_text text, char const *expected) {
  if (text.size == strlen(expected) && memcmp(text.data, expected, text.size + 1) == 0) {
    return 1;
  }
  fprintf(stderr, "  expected: %s\n  found:    %s\n", expected, text.data);
  return 0;
}

/* Frees the text. */
static int wrote(char *text, size_t size, char const *expected) {
  drovan_text view;
  int is;
  view.data = text;
  view.size = size;
  is = text != NULL && same(view, expected);
  drovan_free(text);
  return is;
}

#define CHECK(holds) check((holds) != 0, #holds, __LINE__)
/* A call that does what it says, and leaves no error. */
#define OK(call) check((call) == DROVAN_OK && error.kind == DROVAN_OK && error.text.size == 0, #call, __LINE__)
/* A call that is refused, with a class and a text that begins so. */
#define REFUSED(call, class, beginning)                                                                                \
  check((call) == (class) && error.kind == (class) && error.owned != NULL &&                                           \
            strncmp(error.text.data, beginning, strlen(beginning)) == 0 && strlen(error.text.data) == error.text.size, \
        #call, __LINE__)

static drovan_text bytes(char const *data, size_t size) {
  drovan_text text;
  text.data = data;
  text.size = size;
  return text;
}
#define S drovan_str
#define BYTES(literal) bytes(literal, sizeof(literal) - 1)
static drovan_text broken(void) { return bytes(NULL, 1); }

static drovan_schema *network = NULL;
static drovan_resolver *device = NULL;
static drovan_selection *found = NULL;

static drovan_schema *yaml(char const *text) {
  drovan_schema *schema = NULL;
  OK(drovan_schema_yaml_text(S(text), S("test.yaml"), &schema, &error));
  return schema;
}

static int resolve(char const *path) { return drovan_resolve_text(device, S(path), DROVAN_READ, found, &error); }

/* The exact key that is selected last on the way. */
static drovan_key *keyOf(char const *path) {
  drovan_key *key = NULL;
  OK(resolve(path));
  OK(drovan_selection_key(found, drovan_selection_count(found) - 1, &key, &error));
  CHECK(key != NULL);
  return key;
}

static int prints(drovan_key const *key, char const *expected) {
  char *text = NULL;
  size_t size = 0;
  return drovan_key_print(key, &text, &size, &error) == DROVAN_OK && wrote(text, size, expected);
}

static void versions(void) {
  CHECK(drovan_version() == DROVAN_VERSION_MAJOR * 1000 + DROVAN_VERSION_MINOR);
  CHECK(strcmp(drovan_class_name(DROVAN_OK), "Ok") == 0);
  CHECK(strcmp(drovan_class_name(DROVAN_MALFORMED), "Malformed") == 0);
  CHECK(strcmp(drovan_class_name(DROVAN_KEY_UNKNOWN), "KeyUnknown") == 0);
  CHECK(strcmp(drovan_class_name(DROVAN_BOUND_PASSED), "BoundPassed") == 0);
  CHECK(strcmp(drovan_class_name(DROVAN_BAD_SCHEMA), "BadSchema") == 0);
  CHECK(strcmp(drovan_class_name(DROVAN_OTHER_KIND), "OtherKind") == 0);
  CHECK(strcmp(drovan_class_name(DROVAN_NO_NAME), "NoName") == 0);
  CHECK(strcmp(drovan_class_name(DROVAN_MISUSE), "Misuse") == 0);
  CHECK(strcmp(drovan_class_name(DROVAN_NO_MEMORY), "NoMemory") == 0);
  CHECK(strcmp(drovan_class_name(DROVAN_SYSTEM), "System") == 0);
  CHECK(strcmp(drovan_class_name(DROVAN_BOUND_PASSED + 1), "?") == 0);
  CHECK(strcmp(drovan_class_name(-1), "?") == 0);
}

static void schemas(void) {
  drovan_schema *schema = NULL;
  drovan_text warning;
  drovan_text const folder = S(FOLDER "/tests/yang/bad");
  drovan_text const module = S("part");
  REFUSED(drovan_schema_yaml_file(S("/nowhere.yaml"), &schema, &error), DROVAN_BAD_SCHEMA, "/nowhere.yaml: ");
  CHECK(schema == NULL);
  REFUSED(drovan_schema_yaml_text(S("module: M\ntypes: {K: {wraps: u8}}"), S("m.yaml"), &schema, &error),
          DROVAN_BAD_SCHEMA, "m.yaml:2:20: no type 'u8'");
  REFUSED(drovan_schema_yaml_text(BYTES("\0"), S("m.yaml"), &schema, &error), DROVAN_BAD_SCHEMA, "m.yaml");
  CHECK(schema == NULL);
  drovan_yang yang = {sizeof yang, &folder, 1, &module, 1, NULL, 0, DROVAN_STRICT};
  REFUSED(drovan_schema_yang(&yang, &schema, &error), DROVAN_BAD_SCHEMA, "");
  CHECK(schema == NULL);
  yang.module_count = 0;
  yang.flags = DROVAN_ALL_FEATURES | DROVAN_IMPLEMENT_IMPORTS;
  OK(drovan_schema_yang(&yang, &schema, &error));
  CHECK(drovan_schema_warning_count(schema) > 1);
  OK(drovan_schema_warning(schema, 0, &warning, &error));
  CHECK(warning.size > 0 && strlen(warning.data) == warning.size);
  REFUSED(drovan_schema_warning(schema, 1000, &warning, &error), DROVAN_NO_NAME, "there is no warning 1000 of ");
  drovan_schema_free(schema);
  CHECK(drovan_schema_warning_count(network) == 0);
}

/* `kinds/rare` is there where its feature is on. */
static void yangFeatures(void) {
  static struct {
    char const *feature;
    unsigned flags;
    int isThere;
  } const rows[] = {{NULL, 0, 0}, {NULL, DROVAN_ALL_FEATURES, 1}, {"kinds:rare", 0, 1}};
  drovan_text const folder = S(FOLDER "/tests/yang/modules");
  drovan_text const module = S("kinds");
  drovan_schema *schema = NULL;
  size_t i;
  for (i = 0; i != sizeof rows / sizeof *rows; ++i) {
    drovan_text const feature = S(rows[i].feature);
    drovan_yang const yang = {sizeof yang, &folder, 1, &module, 1, &feature, rows[i].feature != NULL, rows[i].flags};
    drovan_resolver *resolver = NULL;
    OK(drovan_schema_yang(&yang, &schema, &error));
    OK(drovan_resolver_new(schema, S(""), 0, &resolver, &error));
    CHECK((drovan_resolve_text(resolver, S("/kinds/rare"), DROVAN_READ, found, NULL) == DROVAN_OK) == rows[i].isThere);
    OK(drovan_resolve_text(device, S("/"), DROVAN_READ, found, &error));
    drovan_resolver_free(resolver);
    drovan_schema_free(schema);
  }
  for (i = 0; i != 3; ++i) {
    static char const *const refused[][2] = {{"rare", "a feature is named 'module:feature'; not 'rare'"},
                                             {"other:rare", "features of 'other' are asked for, but not the module"},
                                             {"kinds:", ""}};
    drovan_text const feature = S(refused[i][0]);
    drovan_yang const yang = {sizeof yang, &folder, 1, &module, 1, &feature, 1, 0};
    REFUSED(drovan_schema_yang(&yang, &schema, &error), DROVAN_BAD_SCHEMA, refused[i][1]);
    CHECK(schema == NULL);
  }
}

/* A file whose name is only the beginning of the name that is given is not the one that is asked for. */
static void fileNames(void) {
  drovan_schema *schema = NULL;
  drovan_text const file = BYTES(FOLDER "/examples/network.yaml\0x");
  drovan_text const folder = BYTES(FOLDER "/examples/target\0x");
  drovan_yang const yang = {sizeof yang, &folder, 1, NULL, 0, NULL, 0, 0};
  REFUSED(drovan_schema_yaml_file(file, &schema, &error), DROVAN_BAD_SCHEMA, "a file name that holds NUL");
  REFUSED(drovan_schema_yang(&yang, &schema, &error), DROVAN_BAD_SCHEMA, "a file name that holds NUL");
  CHECK(schema == NULL);
}

static void roots(void) {
  drovan_schema *const two = yaml("module: M\ntypes: {A: {entity: {x: U8}}, B: {entity: {y: U8}}}");
  drovan_resolver *resolver = NULL;
  OK(drovan_resolver_new(two, S("A"), 0, &resolver, &error));
  OK(drovan_resolve_text(resolver, S("/x"), DROVAN_READ, found, &error));
  REFUSED(drovan_resolve_text(resolver, S("/y"), DROVAN_READ, found, &error), DROVAN_UNKNOWN_NODE,
          "unknown element 'y'");
  drovan_resolver_free(resolver);
  REFUSED(drovan_resolver_new(two, S(""), 0, &resolver, &error), DROVAN_NO_NAME, "which of 2 entity types");
  REFUSED(drovan_resolver_new(two, S("C"), 0, &resolver, &error), DROVAN_NO_NAME, "");
  REFUSED(drovan_resolver_new(two, S("U8"), 0, &resolver, &error), DROVAN_NO_NAME, "'U8' is no entity type");
  CHECK(resolver == NULL);
  drovan_schema_free(two);
}

static void yangPaths(void) {
  drovan_schema *schema = NULL;
  drovan_resolver *resolver = NULL;
  drovan_selected selected = {sizeof selected, 0, 0, {NULL, 0}, {NULL, 0}, 0};
  drovan_node node = {sizeof node, 0, {NULL, 0}, {NULL, 0}};
  drovan_key *key = NULL;
  drovan_text const folder = S(FOLDER "/examples/target");
  drovan_yang const yang = {sizeof yang, &folder, 1, NULL, 0, NULL, 0, 0};
  OK(drovan_schema_yang(&yang, &schema, &error));
  OK(drovan_resolver_new(schema, S(""), 0, &resolver, &error));
  drovan_schema_free(schema);
  OK(drovan_resolve_text(resolver, S("/interfaces/interface[name=eth0]/mtu"), DROVAN_READ, found, &error));
  OK(drovan_selection_node(found, &node, &error));
  CHECK(node.kind == DROVAN_LEAF && same(node.name, "mtu"));
  OK(drovan_selection_at(found, 0, &selected, &error));
  CHECK(selected.kind == DROVAN_ONE && selected.element == 1 && same(selected.name, "interface"));
  OK(drovan_selection_key(found, 0, &key, &error));
  drovan_resolver_free(resolver);
  CHECK(prints(key, "\"eth0\""));
  OK(drovan_resolve_text(device, S("/"), DROVAN_READ, found, &error));
  drovan_key_free(key);
}

/* Each class that a path can have. */
static void classes(void) {
  drovan_schema *const small = yaml(
      "module: M\n"
      "types:\n"
      "  Pair: {value: {a: U8, b: U8}, args: [a, b]}\n"
      "  Deep: {value: {p: Pair, c: U8}, args: [p, c]}\n"
      "  E: {entity: {key: Deep}}\n"
      "  Root: {entity: {e: {keyed: E, by: key}}}\n");
  drovan_resolver *resolver = NULL;
  drovan_text const folder = S(FOLDER "/tests/yang/paths");
  drovan_yang const yang = {sizeof yang, &folder, 1, NULL, 0, NULL, 0, 0};
  drovan_schema *modules = NULL;

  REFUSED(resolve("/vrf[name=red"), DROVAN_MALFORMED, "expected ']' after the value; found the end");
  CHECK(error.offset == 13);
  REFUSED(resolve("/vrf/rout"), DROVAN_UNKNOWN_NODE, "unknown element 'rout' of Network::Vrf");
  CHECK(error.offset == 5 && error.element == 1 && same(error.unknown, "rout") && error.in_prefix == 0);
  CHECK(error.near_count > 0 && strlen(error.near_names[0].data) == error.near_names[0].size);
  REFUSED(resolve("/vrf[nmae=red]"), DROVAN_KEY_UNKNOWN, "unknown key 'nmae' of 'vrf'");
  CHECK(error.offset == 5 && error.element == 0 && same(error.key, "nmae") && error.near_count == 1 &&
        same(error.near_names[0], "name"));
  REFUSED(resolve("/vrf[name=red][name=blue]"), DROVAN_KEY_TWICE, "key 'name' is given twice");
  REFUSED(resolve("/vlan[id=70000]"), DROVAN_VALUE_REFUSED, "Zyn::U16: '70000' does not fit");
  CHECK(error.offset == 9 && same(error.key, "id"));
  REFUSED(resolve("/*"), DROVAN_WILDCARD_REFUSED, "element '*' stands for many nodes");
  REFUSED(drovan_resolve_text(device, S("/vrf/name"), DROVAN_WRITE, found, &error), DROVAN_KEY_MISSING, "");
  REFUSED(drovan_resolve_text(device, S("/vrf[name=*]"), DROVAN_NOTIFY, found, &error), DROVAN_WILDCARD_REFUSED, "");
  OK(drovan_resolve_text(device, S("/vrf[name=*]"), DROVAN_DELETE, found, &error));

  OK(drovan_resolver_new(small, S("Root"), 0, &resolver, &error));
  REFUSED(drovan_resolve_text(resolver, S("/e[p__a=1]"), DROVAN_READ, found, &error), DROVAN_UNSUPPORTED, "");
  drovan_resolver_free(resolver);
  drovan_schema_free(small);

  OK(drovan_schema_yang(&yang, &modules, &error));
  OK(drovan_resolver_new(modules, S(""), 0, &resolver, &error));
  REFUSED(drovan_resolve_text(resolver, S("nowhere:/interfaces"), DROVAN_READ, found, &error), DROVAN_UNKNOWN_ORIGIN,
          "");
  CHECK(drovan_resolve_text(resolver, S("rfc7951:/interfaces"), DROVAN_READ, found, &error) != DROVAN_OK);
  CHECK(error.kind == DROVAN_AMBIGUOUS && error.near_count > 1);
  drovan_resolver_free(resolver);
  drovan_schema_free(modules);
}

/* Names that are like the one that does not exist stand first. */
static void nearNames(void) {
  drovan_schema *const schema = yaml("module: M\ntypes: {A: {entity: {beta: U8, alpha: U8, gama: U8, gamma: U8}}}");
  drovan_resolver *resolver = NULL;
  drovan_error unset = {0, NULL, 0, 0, 0, 0, {NULL, 0}, {NULL, 0}, {NULL, 0}, NULL, 0};
  OK(drovan_resolver_new(schema, S(""), 0, &resolver, &error));
  REFUSED(drovan_resolve_text(resolver, S("/gamm"), DROVAN_READ, found, &error), DROVAN_UNKNOWN_NODE,
          "unknown element");
  CHECK(error.near_count == 4 && same(error.near_names[0], "gama") && same(error.near_names[1], "gamma") &&
        same(error.near_names[2], "beta") && same(error.near_names[3], "alpha"));
  OK(drovan_resolve_text(resolver, S("/beta"), DROVAN_READ, found, &error));
  CHECK(drovan_resolve_text(resolver, S("/beta"), DROVAN_READ, found, &unset) == DROVAN_MISUSE);
  CHECK(drovan_selection_node(found, NULL, NULL) == DROVAN_MISUSE);
  {
    drovan_node node = {sizeof node, 0, {NULL, 0}, {NULL, 0}};
    REFUSED(drovan_selection_node(found, &node, &error), DROVAN_MISUSE,
            "a selection that no path"); /* It is empty: the path before is not its answer. */
  }
  OK(drovan_resolve_text(device, S("/"), DROVAN_READ, found, &error));
  drovan_resolver_free(resolver);
  drovan_schema_free(schema);
}

static int visits = 0;
static drovan_key *kept = NULL;

static int countThem(void *context, drovan_selection const *shown) {
  char *path = NULL;
  size_t size = 0;
  drovan_error own = DROVAN_ERROR_INIT;
  drovan_selection *other = NULL;
  ++visits;
  CHECK(drovan_selection_path(shown, &path, &size, &own) == DROVAN_OK && size > 0);
  drovan_free(path);
  /* A call within the call. */
  CHECK(drovan_selection_new(&other, &own) == DROVAN_OK);
  CHECK(drovan_resolve_text(device, S("/vlan[id=7]"), DROVAN_READ, other, &own) == DROVAN_OK);
  CHECK(drovan_resolve_text(device, S("/vlan[id=x]"), DROVAN_READ, other, &own) == DROVAN_VALUE_REFUSED);
  drovan_selection_free(other);
  drovan_error_clear(&own);
  if (kept == NULL) {
    (void)drovan_selection_key(shown, 0, &kept, NULL);
  }
  return *(int *)context == 0 || visits < *(int *)context;
}

/* Uses the error of the call around it, which is against the rules, and leaks nothing. */
static int sharesTheError(void *context, drovan_selection const *shown) {
  drovan_text name;
  (void)context;
  (void)drovan_selection_filter(shown, 99, 0, &name, &kept, &error);
  CHECK(error.owned != NULL);
  return 1;
}

static void expansions(void) {
  int most = 0;
  drovan_path path = {sizeof path, {NULL, 0}, {NULL, 0}, NULL, 0};
  drovan_path_key key;
  drovan_path_elem elems[2];
  key.name = S("name");
  key.value = S("red");
  elems[0].name = S("vrf");
  elems[0].keys = &key;
  elems[0].key_count = 1;
  elems[1].name = S("*");
  elems[1].keys = NULL;
  elems[1].key_count = 0;
  path.elems = elems;
  path.elem_count = 2;
  OK(drovan_expand_text(device, S("/vrf[name=red]/*"), DROVAN_READ, 0, countThem, &most, &error));
  CHECK(visits == 4);
  CHECK(prints(kept, "\"red\""));
  drovan_key_free(kept);
  kept = NULL;
  visits = 0;
  OK(drovan_expand_message(device, NULL, &path, DROVAN_READ, 0, countThem, &most, &error));
  CHECK(visits == 4);
  visits = 0;
  most = 2;
  OK(drovan_expand_message(device, NULL, &path, DROVAN_READ, 0, countThem, &most, &error));
  CHECK(visits == 2);
  drovan_key_free(kept);
  kept = NULL;
  most = 0;
  REFUSED(drovan_expand_text(device, S("/..."), DROVAN_READ, 3, countThem, &most, &error), DROVAN_BOUND_PASSED, "");
  REFUSED(drovan_expand_text(device, S("/*/nothing"), DROVAN_READ, 0, countThem, &most, &error), DROVAN_UNKNOWN_NODE,
          "");
  drovan_key_free(kept);
  kept = NULL;
  REFUSED(drovan_expand_text(device, S("/..."), DROVAN_READ, 2, sharesTheError, NULL, &error), DROVAN_BOUND_PASSED, "");
}

static void messages(void) {
  drovan_path prefix = {sizeof prefix, {NULL, 0}, {NULL, 0}, NULL, 0};
  drovan_path path = {sizeof path, {NULL, 0}, {NULL, 0}, NULL, 0};
  drovan_path_key name;
  drovan_path_key parts[3];
  drovan_path_elem vrf;
  drovan_path_elem route;
  char *text = NULL;
  size_t size = 0;
  name.name = S("name");
  name.value = BYTES("r\0d");
  vrf.name = S("vrf");
  vrf.keys = &name;
  vrf.key_count = 1;
  parts[0].name = S("vrf");
  parts[0].value = S("red");
  parts[1].name = S("protocol");
  parts[1].value = S("bgp");
  parts[2].name = S("prefix");
  parts[2].value = S("10.1.2.3/8");
  route.name = S("route");
  route.keys = parts;
  route.key_count = 3;
  prefix.target = S("box");
  prefix.elems = &vrf;
  prefix.elem_count = 1;
  path.elems = &route;
  path.elem_count = 1;
  OK(drovan_resolve_message(device, &prefix, &path, DROVAN_WRITE, found, &error));
  CHECK(drovan_selection_count(found) == 2);
  OK(drovan_selection_path(found, &text, &size, &error));
  {
    drovan_text const expected = BYTES("/vrf[name=r\0d]/route[prefix=10.0.0.0/8][protocol=bgp][vrf=red]");
    CHECK(size == expected.size && memcmp(text, expected.data, size + 1) == 0);
    OK(drovan_resolve_text(device, bytes(text, size), DROVAN_WRITE, found, &error));
    drovan_free(text);
  }

  parts[2].name = S("vrf");
  REFUSED(drovan_resolve_message(device, &prefix, &path, DROVAN_WRITE, found, &error), DROVAN_KEY_TWICE,
          "key 'vrf' is given twice");
  CHECK(error.element == 0 && error.in_prefix == 0 && error.offset == DROVAN_NOWHERE);
  parts[2].name = S("");
  REFUSED(drovan_resolve_message(device, &prefix, &path, DROVAN_WRITE, found, &error), DROVAN_MALFORMED,
          "a key of the element has no name");
  CHECK(error.element == 0 && error.in_prefix == 0);
  vrf.name = S("");
  REFUSED(drovan_resolve_message(device, &prefix, &path, DROVAN_WRITE, found, &error), DROVAN_MALFORMED,
          "the element has no name");
  CHECK(error.element == 0 && error.in_prefix == 1);
  vrf.name = S("vfr");
  route.key_count = 0;
  REFUSED(drovan_resolve_message(device, &prefix, &path, DROVAN_READ, found, &error), DROVAN_UNKNOWN_NODE,
          "unknown element 'vfr'");
  CHECK(error.in_prefix == 1);
  vrf.name = S("vrf");
  prefix.origin = S("a");
  path.origin = S("b");
  REFUSED(drovan_resolve_message(device, &prefix, &path, DROVAN_READ, found, &error), DROVAN_CONFLICT, "");
}

static void selections(void) {
  drovan_selected selected = {sizeof selected, 0, 0, {NULL, 0}, {NULL, 0}, 0};
  drovan_node node = {sizeof node, 0, {NULL, 0}, {NULL, 0}};
  drovan_key *key = NULL;
  drovan_key *red = NULL;
  drovan_text name;
  char *text = NULL;
  size_t size = 0;
  int matches = -1;

  CHECK(drovan_selection_count(found) == 0);
  REFUSED(drovan_selection_node(found, &node, &error), DROVAN_MISUSE, "a selection that no path was resolved into");
  REFUSED(drovan_selection_path(found, &text, &size, &error), DROVAN_MISUSE, "a selection that no path");
  REFUSED(drovan_selection_at(found, 0, &selected, &error), DROVAN_MISUSE, "a selection that no path");

  OK(resolve("/vrf[name=red]/route[protocol=bgp][vrf=red]"));
  CHECK(drovan_selection_count(found) == 2);
  OK(drovan_selection_at(found, 0, &selected, &error));
  CHECK(selected.kind == DROVAN_ONE && selected.element == 0 && same(selected.entity, "Network::Device") &&
        same(selected.name, "vrf") && selected.filter_count == 0);
  OK(drovan_selection_at(found, 1, &selected, &error));
  CHECK(selected.kind == DROVAN_SOME && selected.element == 1 && same(selected.entity, "Network::Vrf") &&
        same(selected.name, "route") && selected.filter_count == 2);
  REFUSED(drovan_selection_at(found, 2, &selected, &error), DROVAN_NO_NAME, "there is no selection 2 of 2");
  REFUSED(drovan_selection_key(found, 1, &key, &error), DROVAN_OTHER_KIND, "the selection is no exact key");
  CHECK(key == NULL);
  OK(drovan_selection_key(found, 0, &red, &error));
  CHECK(prints(red, "\"red\""));
  OK(drovan_selection_filter(found, 1, 0, &name, &key, &error));
  CHECK(same(name, "vrf") && prints(key, "\"red\""));
  drovan_key_free(key);
  OK(drovan_selection_filter(found, 1, 1, NULL, &key, &error));
  CHECK(prints(key, "'bgp'"));
  drovan_key_free(key);
  REFUSED(drovan_selection_filter(found, 1, 2, &name, &key, &error), DROVAN_NO_NAME,
          "there is no part of the filter 2 of 2");
  REFUSED(drovan_selection_filter(found, 0, 0, &name, &key, &error), DROVAN_NO_NAME, "there is no part");
  CHECK(key == NULL);
  OK(drovan_selection_matches(found, 0, red, &matches, &error));
  CHECK(matches == 1);
  OK(drovan_selection_matches(found, 1, red, &matches, &error));
  CHECK(matches == 0);
  OK(drovan_selection_node(found, &node, &error));
  CHECK(node.kind == DROVAN_LIST && same(node.name, "route") && same(node.type, "Network::Route"));
  OK(drovan_selection_path(found, &text, NULL, &error));
  CHECK(wrote(text, strlen(text), "/vrf[name=red]/route[protocol=bgp][vrf=red]"));

  OK(resolve("/vrf"));
  OK(drovan_selection_at(found, 0, &selected, &error));
  CHECK(selected.kind == DROVAN_EVERY && selected.filter_count == 0);
  OK(drovan_selection_matches(found, 0, red, &matches, &error));
  CHECK(matches == 1);
  OK(resolve("/"));
  OK(drovan_selection_node(found, &node, &error));
  CHECK(node.kind == DROVAN_CONTAINER && same(node.name, "") && same(node.type, "Network::Device"));
  OK(resolve("/vrf[name=blue]/name"));
  OK(drovan_selection_node(found, &node, &error));
  CHECK(node.kind == DROVAN_LEAF && same(node.type, "Zyn::String"));
  OK(drovan_selection_matches(found, 0, red, &matches, &error));
  CHECK(matches == 0);

  /* After a failure there is nothing: neither what was there before, nor what was found before it failed. */
  REFUSED(resolve("/vrf[name=red]/vlan"), DROVAN_UNKNOWN_NODE, "");
  CHECK(drovan_selection_count(found) == 0);
  REFUSED(drovan_selection_node(found, &node, &error), DROVAN_MISUSE, "a selection that no path");
  REFUSED(drovan_selection_path(found, &text, &size, &error), DROVAN_MISUSE, "a selection that no path");
  drovan_key_free(red);
}

/* What each kind is read as: the path, its kind, and its text and integer where it has them. */
static void kinds(void) {
  static struct {
    char const *path;
    int kind;
    char const *text;   /* NULL: it is no scalar */
    char const *inPath; /* NULL: it has none */
    int isInteger;
    int64_t integer;
    char const *json;
  } const rows[] = {
      {"/breaker[closed=true]", DROVAN_BOOL, "true", "true", 0, 0, "true"},
      {"/vlan[id=7]", DROVAN_WRAPPER, "7", "7", 1, 7, "7"},
      {"/vrf[name=a\"b]", DROVAN_STRING, "a\"b", "a\"b", 0, 0, "\"a\\\"b\""},
      {"/certificate[fingerprint=AAEC]", DROVAN_BYTES, NULL, "AAEC", 0, 0, "\"AAEC\""},
      {"/timer[period=-1.5]", DROVAN_SECONDS, "-1.5", "-1.5", 1, -1500000000, NULL},
      {"/snapshot[taken=1970-01-01T00:00:01Z]", DROVAN_TIME, "1970-01-01T00:00:01Z", "1970-01-01T00:00:01Z", 1,
       1000000000, "\"1970-01-01T00:00:01Z\""},
      {"/host[mac=02:00:5E:10:00:FF]", DROVAN_MAC_ADDRESS, "02:00:5e:10:00:ff", "02:00:5e:10:00:ff", 0, 0, NULL},
      {"/meter[direction=out]", DROVAN_ENUM, "out", "out", 1, 1, NULL},
      {"/vrf[name=x]/neighbour[name=10.0.0.1]", DROVAN_UNION, NULL, "10.0.0.1", 0, 0, NULL},
      {"/portPool[range=1024-2047]", DROVAN_PARTS, NULL, "1024-2047", 0, 0, NULL},
      {"/tunnel[from__site__region=a][from__site__rack=1][from__address=::1][to__site__region=b][to__site__rack=2]"
       "[to__address=::2][id=3]",
       DROVAN_PARTS, NULL, NULL, 0, 0, NULL},
  };
  size_t i;
  for (i = 0; i != sizeof rows / sizeof rows[0]; ++i) {
    drovan_key *const key = keyOf(rows[i].path);
    char *text = NULL;
    size_t size = 0;
    int64_t integer = 0;
    uint64_t natural = 0;
    int truth = -1;
    double number = 0;
    CHECK(drovan_key_kind(key) == rows[i].kind);
    if (rows[i].text != NULL) {
      OK(drovan_key_text(key, &text, &size, &error));
      CHECK(wrote(text, size, rows[i].text));
    }
    text = NULL;
    if (rows[i].inPath != NULL) {
      OK(drovan_key_path_text(key, &text, &size, &error));
      CHECK(wrote(text, size, rows[i].inPath));
    } else {
      REFUSED(drovan_key_path_text(key, &text, &size, &error), DROVAN_OTHER_KIND, "Network::TunnelKey has no text");
      CHECK(text == NULL);
    }
    OK(drovan_key_json(key, &text, &size, &error));
    CHECK(rows[i].json == NULL ? size > 0 : strcmp(text, rows[i].json) == 0);
    drovan_free(text);
    if (rows[i].isInteger) {
      OK(drovan_key_int64(key, &integer, &error));
      CHECK(integer == rows[i].integer);
      if (integer < 0) {
        REFUSED(drovan_key_uint64(key, &natural, &error), DROVAN_OTHER_KIND, "");
      } else {
        OK(drovan_key_uint64(key, &natural, &error));
        CHECK((int64_t)natural == integer);
      }
    } else {
      REFUSED(drovan_key_int64(key, &integer, &error), DROVAN_OTHER_KIND, "");
      REFUSED(drovan_key_uint64(key, &natural, &error), DROVAN_OTHER_KIND, "");
    }
    if (rows[i].kind == DROVAN_BOOL) {
      OK(drovan_key_bool(key, &truth, &error));
      CHECK(truth == 1);
    } else {
      REFUSED(drovan_key_bool(key, &truth, &error), DROVAN_OTHER_KIND, "");
    }
    REFUSED(drovan_key_double(key, &number, &error), DROVAN_OTHER_KIND, "");
    drovan_key_free(key);
  }
}

/* Kinds that no collection of the network has as a key by itself. */
static void moreKinds(void) {
  drovan_schema *const schema = yaml(
      "module: M\n"
      "types:\n"
      "  E: {entity: {d: Double, f: Float, u: U64, s: S8, p: IpPrefix, b: Bytes}}\n"
      "  Root:\n"
      "    entity:\n"
      "      d: {keyed: E, by: d}\n"
      "      f: {keyed: E, by: f}\n"
      "      u: {keyed: E, by: u}\n"
      "      s: {keyed: E, by: s}\n"
      "      p: {keyed: E, by: p}\n"
      "      b: {keyed: E, by: b}\n");
  drovan_key *key = NULL;
  double number = 0;
  uint64_t natural = 0;
  int64_t integer = 0;
  char *text = NULL;
  size_t size = 0;
  drovan_text const root = S("M::Root");
  OK(drovan_decode_scalar(schema, root, S("d"), S("d"), S("15e-1"), 0, &key, &error));
  CHECK(drovan_key_kind(key) == DROVAN_DOUBLE);
  OK(drovan_key_double(key, &number, &error));
  CHECK(number > 1.4 && number < 1.6);
  drovan_key_free(key);
  OK(drovan_decode_scalar(schema, root, S("f"), S("f"), S("0.5"), 0, &key, &error));
  CHECK(drovan_key_kind(key) == DROVAN_DOUBLE);
  drovan_key_free(key);
  OK(drovan_decode_scalar(schema, root, S("u"), S("u"), S("18446744073709551615"), 0, &key, &error));
  CHECK(drovan_key_kind(key) == DROVAN_UINT);
  OK(drovan_key_uint64(key, &natural, &error));
  CHECK(natural == UINT64_MAX);
  REFUSED(drovan_key_int64(key, &integer, &error), DROVAN_OTHER_KIND, "");
  drovan_key_free(key);
  OK(drovan_decode_scalar(schema, root, S("s"), S("s"), S("-128"), 0, &key, &error));
  CHECK(drovan_key_kind(key) == DROVAN_INT);
  drovan_key_free(key);
  OK(drovan_decode_scalar(schema, root, S("p"), S("p"), S("10.1.2.3/8"), 0, &key, &error));
  CHECK(drovan_key_kind(key) == DROVAN_IP_PREFIX && prints(key, "10.0.0.0/8"));
  drovan_key_free(key);
  OK(drovan_decode_scalar(schema, root, S("b"), S("b"), S("AAEC"), 0, &key, &error));
  OK(drovan_key_text(key, &text, &size, &error));
  CHECK(size == 3 && memcmp(text, "\0\1\2", 4) == 0);
  drovan_free(text);
  drovan_key_free(key);
  drovan_schema_free(schema);
}

static void parts(void) {
  drovan_key *const route = keyOf("/vrf[name=red]/route[vrf=red][prefix=10.0.0.0/8][protocol=bgp]");
  drovan_key *const peer = keyOf("/vrf[name=red]/neighbour[name=eth0]");
  drovan_key *const vlan = keyOf("/vlan[id=7]");
  drovan_key *part = NULL;
  drovan_text name;
  CHECK(prints(route, "Network::RouteKey(vrf=\"red\", prefix=10.0.0.0/8, protocol='bgp')"));
  OK(drovan_key_type(route, &name, &error));
  CHECK(same(name, "Network::RouteKey"));
  CHECK(drovan_key_part_count(route) == 4 && drovan_key_part_count(peer) == 2 && drovan_key_part_count(vlan) == 1);
  OK(drovan_key_part(route, 1, &name, &part, &error));
  CHECK(same(name, "prefix") && drovan_key_kind(part) == DROVAN_IP_PREFIX && drovan_key_part_count(part) == 0);
  drovan_key_free(part);
  OK(drovan_key_part(route, 3, &name, &part, &error));
  CHECK(same(name, "tag") && part == NULL);
  OK(drovan_key_part(route, 0, &name, NULL, &error));
  CHECK(same(name, "vrf"));
  OK(drovan_key_part(route, 0, NULL, NULL, &error));
  REFUSED(drovan_key_part(route, 4, &name, &part, &error), DROVAN_NO_NAME, "there is no part 4 of 4");
  OK(drovan_key_part_named(route, S("protocol"), &part, &error));
  CHECK(drovan_key_kind(part) == DROVAN_ENUM);
  drovan_key_free(part);
  OK(drovan_key_part_named(route, S("tag"), &part, &error));
  CHECK(part == NULL);
  REFUSED(drovan_key_part_named(route, S("tga"), &part, &error), DROVAN_NO_NAME, "");
  REFUSED(drovan_key_part_named(route, BYTES("vrf\0"), &part, &error), DROVAN_NO_NAME, "");
  OK(drovan_key_part_named(peer, S("interface"), &part, &error));
  CHECK(prints(part, "\"eth0\""));
  drovan_key_free(part);
  OK(drovan_key_part_named(peer, S("address"), &part, &error));
  CHECK(part == NULL);
  OK(drovan_key_part(vlan, 0, &name, &part, &error));
  CHECK(drovan_key_kind(part) == DROVAN_UINT);
  drovan_key_free(part);
  drovan_key_free(vlan);
  drovan_key_free(peer);
  drovan_key_free(route);
}

static void comparisons(void) {
  drovan_key *const a = keyOf("/vlan[id=7]");
  drovan_key *const b = keyOf("/vlan[id=9]");
  drovan_key *const again = keyOf("/vlan[id=007]");
  drovan_key *const other = keyOf("/vrf[name=7]");
  uint64_t first = 0;
  uint64_t second = 1;
  int answer = -1;
  OK(drovan_key_equal(a, again, &answer, &error));
  CHECK(answer == 1);
  OK(drovan_key_equal(a, b, &answer, &error));
  CHECK(answer == 0);
  OK(drovan_key_equal(a, other, &answer, &error));
  CHECK(answer == 0);
  OK(drovan_key_compare(a, b, &answer, &error));
  CHECK(answer < 0);
  OK(drovan_key_compare(b, a, &answer, &error));
  CHECK(answer > 0);
  OK(drovan_key_compare(a, again, &answer, &error));
  CHECK(answer == 0);
  OK(drovan_key_compare(a, other, &answer, &error));
  CHECK(answer != 0);
  OK(drovan_key_hash(a, &first, &error));
  OK(drovan_key_hash(again, &second, &error));
  CHECK(first == second);
  drovan_key_free(a);
  drovan_key_free(b);
  drovan_key_free(again);
  drovan_key_free(other);
}

static void pathsOfEntries(void) {
  drovan_key *const red = keyOf("/vrf[name=red]");
  drovan_key *const peer = keyOf("/vrf[name=red]/neighbour[name=eth0]");
  drovan_entry entries[2];
  char *text = NULL;
  size_t size = 0;
  entries[0].entity = S("Network::Device");
  entries[0].name = S("vrf");
  entries[0].key = red;
  entries[1].entity = S("Network::Vrf");
  entries[1].name = S("neighbour");
  entries[1].key = peer;
  OK(drovan_path_of(device, entries, 2, &text, &size, &error));
  CHECK(wrote(text, size, "/vrf[name=red]/neighbour[name=eth0]"));
  OK(drovan_path_of(device, NULL, 0, &text, &size, &error));
  CHECK(wrote(text, size, "/"));
  text = NULL;
  entries[1].name = S("neighbor");
  REFUSED(drovan_path_of(device, entries, 2, &text, &size, &error), DROVAN_NO_NAME, "");
  entries[1].entity = S("Network::Vfr");
  REFUSED(drovan_path_of(device, entries, 2, &text, &size, &error), DROVAN_NO_NAME, "");
  entries[1] = entries[0];
  REFUSED(drovan_path_of(device, entries, 2, &text, &size, &error), DROVAN_UNKNOWN_NODE, "");
  entries[1].key = NULL;
  REFUSED(drovan_path_of(device, entries, 2, &text, &size, &error), DROVAN_MISUSE, "a key that is NULL");
  CHECK(text == NULL);
  drovan_key_free(red);
  drovan_key_free(peer);
}

static void decoderJobs(void) {
  drovan_key *key = NULL;
  drovan_filter *filter = NULL;
  drovan_field fields[3];
  int matches = -1;
  OK(drovan_decode_scalar(network, S("Network::Device"), S("vlan"), S("id"), S("7"), 0, &key, &error));
  CHECK(prints(key, "Network::VlanId(7)"));
  drovan_key_free(key);
  OK(drovan_decode_scalar(network, S("Network::Device"), S("vlan"), S("id"), S("*"), 0, &key, &error));
  CHECK(key == NULL);
  OK(drovan_decode_scalar(network, S("Network::Device"), S("vrf"), S("name"), BYTES("a\0b"), 0, &key, &error));
  CHECK(key != NULL);
  drovan_key_free(key);
  REFUSED(drovan_decode_scalar(network, S("Network::Device"), S("vlan"), S("di"), S("7"), 0, &key, &error),
          DROVAN_VALUE_REFUSED, "Expected key name for 'vlan' is 'id'; found 'di'");
  REFUSED(drovan_decode_scalar(network, S("Network::Device"), S("vlna"), S("id"), S("7"), 0, &key, &error),
          DROVAN_NO_NAME, "");
  CHECK(key == NULL);

  fields[0].path = S("key__vrf");
  fields[0].value = S("red");
  fields[1].path = S("key__prefix");
  fields[1].value = S("10.1.2.3/8");
  fields[2].path = S("key__protocol");
  fields[2].value = S("bgp");
  REFUSED(drovan_decode_key(network, S("Network::Vrf"), S("route"), fields, 2, 0, &key, &error), DROVAN_VALUE_REFUSED,
          "Missing attribute 'protocol' in the key");
  OK(drovan_decode_key(network, S("Network::Vrf"), S("route"), fields, 3, 0, &key, &error));
  CHECK(prints(key, "Network::RouteKey(vrf=\"red\", prefix=10.0.0.0/8, protocol='bgp')"));

  OK(drovan_filter_new(network, S("Network::Vrf"), S("route"), 0, &filter, &error));
  OK(drovan_filter_matches(filter, key, &matches, &error));
  CHECK(matches == 1);
  OK(drovan_filter_set(filter, S("protocol"), S("static"), &error));
  OK(drovan_filter_matches(filter, key, &matches, &error));
  CHECK(matches == 0);
  OK(drovan_filter_set(filter, S("protocol"), S("bgp"), &error));
  OK(drovan_filter_set(filter, S("vrf"), S("*"), &error));
  OK(drovan_filter_matches(filter, key, &matches, &error));
  CHECK(matches == 1);
  REFUSED(drovan_filter_set(filter, S("colour"), S("blue"), &error), DROVAN_VALUE_REFUSED, "");
  drovan_key_free(key);
  key = keyOf("/vlan[id=7]");
  OK(drovan_filter_matches(filter, key, &matches, &error));
  CHECK(matches == 0);
  drovan_key_free(key);
  drovan_filter_free(filter);
  REFUSED(drovan_filter_new(network, S("Network::Vrf"), S("rout"), 0, &filter, &error), DROVAN_NO_NAME, "");
  CHECK(filter == NULL);
}

/* The s4 texts of keys, which the flag asks for. */
static void s4Texts(void) {
  drovan_resolver *resolver = NULL;
  drovan_key *key = NULL;
  drovan_key *same_key = NULL;
  int equal = 0;
  drovan_text const s4 = S("CgNyZWQSCjEwLjAuMC4wLzgYCQ==");
  OK(drovan_decode_scalar(network, S("Network::Vrf"), S("route"), S("key"), s4, DROVAN_USE_S4, &key, &error));
  CHECK(prints(key, "Network::RouteKey(vrf=\"red\", prefix=10.0.0.0/8, protocol='bgp')"));
  OK(drovan_resolver_new(network, S("Vrf"), DROVAN_USE_S4, &resolver, &error));
  OK(drovan_resolve_text(resolver, S("/route[key=CgNyZWQSCjEwLjAuMC4wLzgYCQ\\=\\=]"), DROVAN_READ, found, &error));
  OK(drovan_selection_key(found, 0, &same_key, &error));
  OK(drovan_key_equal(key, same_key, &equal, &error));
  CHECK(equal == 1);
  drovan_key_free(key);
  drovan_key_free(same_key);
  drovan_resolver_free(resolver);
}

#define MISUSED(call) \
  check((call) == DROVAN_MISUSE && error.kind == DROVAN_MISUSE && error.text.size > 0, #call, __LINE__)

static int never(void *context, drovan_selection const *shown) {
  (void)context;
  (void)shown;
  check(0, "a visitor is called", __LINE__);
  return 0;
}

/* Each argument that is wrong by itself, beside others that are right. */
static void misuse(void) {
  drovan_schema *schema = NULL;
  drovan_resolver *resolver = NULL;
  drovan_selection *selection = NULL;
  drovan_filter *filter = NULL;
  drovan_key *out = NULL;
  drovan_key *const key = keyOf("/vlan[id=7]");
  drovan_text name;
  drovan_text const entity = S("Network::Device");
  drovan_text const vlan = S("vlan");
  drovan_text const no = broken();
  drovan_yang const noYang = {sizeof noYang, NULL, 0, NULL, 0, NULL, 0, 0};
  drovan_yang const wrongYang[] = {
      {sizeof noYang - 1, NULL, 0, NULL, 0, NULL, 0, 0}, {sizeof noYang, NULL, 1, NULL, 0, NULL, 0, 0},
      {sizeof noYang, NULL, 0, NULL, 1, NULL, 0, 0},     {sizeof noYang, NULL, 0, NULL, 0, NULL, 1, 0},
      {sizeof noYang, &no, 1, NULL, 0, NULL, 0, 0},      {sizeof noYang, NULL, 0, NULL, 0, &no, 1, 0},
      {sizeof noYang, NULL, 0, NULL, 0, NULL, 0, 8}};
  size_t i;
  drovan_node node = {0, 0, {NULL, 0}, {NULL, 0}};
  drovan_selected selected = {sizeof selected - 1, 0, 0, {NULL, 0}, {NULL, 0}, 0};
  drovan_path path = {sizeof path, {NULL, 0}, {NULL, 0}, NULL, 0};
  drovan_path_elem elem;
  drovan_path_key part;
  drovan_field field;
  drovan_entry entry;
  char *text = NULL;
  size_t size = 0;
  int number = 0;
  int64_t integer = 0;
  uint64_t natural = 0;
  double real = 0;
  /* Handles of other kinds. */
  drovan_schema *const noSchema = (drovan_schema *)key;
  drovan_resolver *const noResolver = (drovan_resolver *)network;
  drovan_selection *const noSelection = (drovan_selection *)device;
  drovan_key *const noKey = (drovan_key *)found;
  drovan_filter *const noFilter = (drovan_filter *)key;

  MISUSED(drovan_schema_yaml_file(no, &schema, &error));
  MISUSED(drovan_schema_yaml_file(S(""), NULL, &error));
  MISUSED(drovan_schema_yaml_text(no, S(""), &schema, &error));
  MISUSED(drovan_schema_yaml_text(S(""), no, &schema, &error));
  MISUSED(drovan_schema_yaml_text(S(""), S(""), NULL, &error));
  MISUSED(drovan_schema_yang(NULL, &schema, &error));
  for (i = 0; i != sizeof wrongYang / sizeof *wrongYang; ++i) {
    MISUSED(drovan_schema_yang(&wrongYang[i], &schema, &error));
  }
  MISUSED(drovan_schema_yang(&noYang, NULL, &error));
  CHECK(drovan_schema_warning_count(NULL) == 0 && drovan_schema_warning_count(noSchema) == 0);
  MISUSED(drovan_schema_warning(NULL, 0, &name, &error));
  MISUSED(drovan_schema_warning(noSchema, 0, &name, &error));
  MISUSED(drovan_schema_warning(network, 0, NULL, &error));

  MISUSED(drovan_resolver_new(NULL, S(""), 0, &resolver, &error));
  MISUSED(drovan_resolver_new(noSchema, S(""), 0, &resolver, &error));
  MISUSED(drovan_resolver_new(network, no, 0, &resolver, &error));
  MISUSED(drovan_resolver_new(network, S("Device"), 2, &resolver, &error));
  MISUSED(drovan_resolver_new(network, S("Device"), 0, NULL, &error));
  MISUSED(drovan_selection_new(NULL, &error));

  MISUSED(drovan_resolve_text(NULL, S("/"), DROVAN_READ, found, &error));
  MISUSED(drovan_resolve_text(noResolver, S("/"), DROVAN_READ, found, &error));
  MISUSED(drovan_resolve_text(device, no, DROVAN_READ, found, &error));
  MISUSED(drovan_resolve_text(device, S("/"), -1, found, &error));
  MISUSED(drovan_resolve_text(device, S("/"), 4, found, &error));
  MISUSED(drovan_resolve_text(device, S("/"), DROVAN_READ, NULL, &error));
  MISUSED(drovan_resolve_text(device, S("/"), DROVAN_READ, noSelection, &error));
  MISUSED(drovan_resolve_message(device, NULL, NULL, DROVAN_READ, found, &error));
  path.size = 0;
  MISUSED(drovan_resolve_message(device, NULL, &path, DROVAN_READ, found, &error));
  path.size = sizeof path;
  path.elem_count = 1;
  MISUSED(drovan_resolve_message(device, NULL, &path, DROVAN_READ, found, &error));
  path.elems = &elem;
  elem.name = no;
  elem.keys = NULL;
  elem.key_count = 0;
  MISUSED(drovan_resolve_message(device, NULL, &path, DROVAN_READ, found, &error));
  elem.name = vlan;
  elem.key_count = 1;
  MISUSED(drovan_resolve_message(device, NULL, &path, DROVAN_READ, found, &error));
  elem.keys = &part;
  part.name = S("id");
  part.value = no;
  MISUSED(drovan_resolve_message(device, NULL, &path, DROVAN_READ, found, &error));
  MISUSED(drovan_resolve_message(device, &path, &path, DROVAN_READ, found, &error));
  CHECK(error.in_prefix == 1);
  part.value = S("7");
  OK(drovan_resolve_message(device, NULL, &path, DROVAN_READ, found, &error));
  MISUSED(drovan_expand_text(NULL, S("/"), DROVAN_READ, 0, never, NULL, &error));
  MISUSED(drovan_expand_text(device, no, DROVAN_READ, 0, never, NULL, &error));
  MISUSED(drovan_expand_text(device, S("/"), 9, 0, never, NULL, &error));
  MISUSED(drovan_expand_text(device, S("/"), DROVAN_READ, 0, NULL, NULL, &error));
  MISUSED(drovan_expand_message(device, NULL, NULL, DROVAN_READ, 0, never, NULL, &error));

  MISUSED(drovan_selection_node(NULL, &node, &error));
  MISUSED(drovan_selection_node(noSelection, &node, &error));
  MISUSED(drovan_selection_node(found, NULL, &error));
  MISUSED(drovan_selection_node(found, &node, &error));
  CHECK(drovan_selection_count(NULL) == 0 && drovan_selection_count(noSelection) == 0);
  MISUSED(drovan_selection_at(NULL, 0, &selected, &error));
  MISUSED(drovan_selection_at(found, 0, NULL, &error));
  MISUSED(drovan_selection_at(found, 0, &selected, &error));
  MISUSED(drovan_selection_key(NULL, 0, &out, &error));
  MISUSED(drovan_selection_key(found, 0, NULL, &error));
  MISUSED(drovan_selection_filter(NULL, 0, 0, &name, &out, &error));
  MISUSED(drovan_selection_filter(found, 0, 0, &name, NULL, &error));
  MISUSED(drovan_selection_matches(NULL, 0, key, &number, &error));
  MISUSED(drovan_selection_matches(found, 0, NULL, &number, &error));
  MISUSED(drovan_selection_matches(found, 0, noKey, &number, &error));
  MISUSED(drovan_selection_matches(found, 0, key, NULL, &error));
  MISUSED(drovan_selection_path(NULL, &text, &size, &error));
  MISUSED(drovan_selection_path(found, NULL, &size, &error));

  CHECK(drovan_key_kind(NULL) < 0 && drovan_key_kind(noKey) < 0);
  CHECK(drovan_key_part_count(NULL) == 0 && drovan_key_part_count(noKey) == 0);
  MISUSED(drovan_key_type(NULL, &name, &error));
  MISUSED(drovan_key_type(noKey, &name, &error));
  MISUSED(drovan_key_type(key, NULL, &error));
  MISUSED(drovan_key_bool(NULL, &number, &error));
  MISUSED(drovan_key_bool(key, NULL, &error));
  MISUSED(drovan_key_int64(NULL, &integer, &error));
  MISUSED(drovan_key_int64(key, NULL, &error));
  MISUSED(drovan_key_uint64(NULL, &natural, &error));
  MISUSED(drovan_key_uint64(key, NULL, &error));
  MISUSED(drovan_key_double(NULL, &real, &error));
  MISUSED(drovan_key_double(key, NULL, &error));
  MISUSED(drovan_key_text(NULL, &text, &size, &error));
  MISUSED(drovan_key_text(key, NULL, &size, &error));
  MISUSED(drovan_key_part(NULL, 0, &name, &out, &error));
  MISUSED(drovan_key_part_named(NULL, S("id"), &out, &error));
  MISUSED(drovan_key_part_named(key, no, &out, &error));
  MISUSED(drovan_key_part_named(key, S("id"), NULL, &error));
  MISUSED(drovan_key_print(NULL, &text, &size, &error));
  MISUSED(drovan_key_print(key, NULL, &size, &error));
  MISUSED(drovan_key_json(NULL, &text, &size, &error));
  MISUSED(drovan_key_path_text(NULL, &text, &size, &error));
  MISUSED(drovan_key_equal(NULL, key, &number, &error));
  MISUSED(drovan_key_equal(key, noKey, &number, &error));
  MISUSED(drovan_key_equal(key, key, NULL, &error));
  MISUSED(drovan_key_compare(key, NULL, &number, &error));
  MISUSED(drovan_key_hash(NULL, &natural, &error));
  MISUSED(drovan_key_hash(key, NULL, &error));

  entry.entity = entity;
  entry.name = vlan;
  entry.key = key;
  MISUSED(drovan_path_of(NULL, &entry, 1, &text, &size, &error));
  MISUSED(drovan_path_of(device, NULL, 1, &text, &size, &error));
  MISUSED(drovan_path_of(device, &entry, 1, NULL, &size, &error));
  entry.key = noKey;
  MISUSED(drovan_path_of(device, &entry, 1, &text, &size, &error));

  MISUSED(drovan_decode_scalar(NULL, entity, vlan, S("id"), S("7"), 0, &out, &error));
  MISUSED(drovan_decode_scalar(network, no, vlan, S("id"), S("7"), 0, &out, &error));
  MISUSED(drovan_decode_scalar(network, entity, no, S("id"), S("7"), 0, &out, &error));
  MISUSED(drovan_decode_scalar(network, entity, vlan, no, S("7"), 0, &out, &error));
  MISUSED(drovan_decode_scalar(network, entity, vlan, S("id"), no, 0, &out, &error));
  MISUSED(drovan_decode_scalar(network, entity, vlan, S("id"), S("7"), 2, &out, &error));
  MISUSED(drovan_decode_scalar(network, entity, vlan, S("id"), S("7"), 0, NULL, &error));
  field.path = no;
  field.value = S("7");
  MISUSED(drovan_decode_key(NULL, entity, vlan, &field, 1, 0, &out, &error));
  MISUSED(drovan_decode_key(network, entity, vlan, NULL, 1, 0, &out, &error));
  MISUSED(drovan_decode_key(network, entity, vlan, &field, 1, 0, &out, &error));
  MISUSED(drovan_decode_key(network, entity, vlan, NULL, 0, 4, &out, &error));
  MISUSED(drovan_decode_key(network, entity, vlan, NULL, 0, 0, NULL, &error));
  MISUSED(drovan_filter_new(NULL, entity, vlan, 0, &filter, &error));
  MISUSED(drovan_filter_new(network, entity, vlan, 4, &filter, &error));
  MISUSED(drovan_filter_new(network, entity, vlan, 0, NULL, &error));
  MISUSED(drovan_filter_set(NULL, S("id"), S("7"), &error));
  MISUSED(drovan_filter_set(noFilter, S("id"), S("7"), &error));
  OK(drovan_filter_new(network, entity, vlan, 0, &filter, &error));
  MISUSED(drovan_filter_set(filter, no, S("7"), &error));
  MISUSED(drovan_filter_matches(NULL, key, &number, &error));
  MISUSED(drovan_filter_matches(filter, NULL, &number, &error));
  MISUSED(drovan_filter_matches(filter, key, NULL, &error));
  drovan_filter_free(filter);

  /* An error of which nothing is known is left alone. */
  {
    drovan_error small = DROVAN_ERROR_INIT;
    small.size = sizeof small - 1;
    small.owned = key;
    CHECK(drovan_selection_new(&selection, &small) == DROVAN_MISUSE && selection == NULL);
    drovan_error_clear(&small);
    CHECK(small.kind == DROVAN_OK && small.owned == key);
  }
  /* Without an error, the class alone. */
  CHECK(drovan_selection_new(NULL, NULL) == DROVAN_MISUSE);
  drovan_error_clear(NULL);
  drovan_schema_free(NULL);
  drovan_resolver_free(NULL);
  drovan_selection_free(NULL);
  drovan_key_free(NULL);
  drovan_filter_free(NULL);
  drovan_free(NULL);
  /* What is none of its kind is not freed. */
  drovan_schema_free(noSchema);
  drovan_selection_free(noSelection);
  drovan_key_free(noKey);
  drovan_filter_free(noFilter);
  drovan_key_free(key);
  CHECK(schema == NULL && resolver == NULL && out == NULL && text == NULL);
}

/* Handles of one schema, freed in every order. */
static void orders(void) {
  int order[5];
  int i;
  int number;
  for (number = 0; number != 5 * 5 * 5 * 5 * 5; ++number) {
    drovan_schema *schema = NULL;
    drovan_resolver *resolver = NULL;
    drovan_selection *selection = NULL;
    drovan_key *key = NULL;
    drovan_filter *filter = NULL;
    int left = number;
    int seen = 0;
    for (i = 0; i != 5; ++i, left /= 5) {
      order[i] = left % 5;
      seen |= 1 << order[i];
    }
    if (seen != 31) {
      continue;
    }
    schema = yaml("module: M\ntypes: {E: {entity: {id: String}}, Root: {entity: {e: {keyed: E, by: id}}}}");
    OK(drovan_resolver_new(schema, S(""), 0, &resolver, &error));
    OK(drovan_selection_new(&selection, &error));
    OK(drovan_resolve_text(resolver, S("/e[id=a string that is too long to be kept in place]"), DROVAN_READ, selection,
                           &error));
    OK(drovan_selection_key(selection, 0, &key, &error));
    OK(drovan_filter_new(schema, S("M::Root"), S("e"), 0, &filter, &error));
    for (i = 0; i != 5; ++i) {
      char *text = NULL;
      switch (order[i]) {
        case 0:
          drovan_schema_free(schema);
          break;
        case 1:
          drovan_resolver_free(resolver);
          break;
        case 2:
          OK(drovan_selection_path(selection, &text, NULL, &error));
          drovan_free(text);
          drovan_selection_free(selection);
          break;
        case 3:
          OK(drovan_key_print(key, &text, NULL, &error));
          drovan_free(text);
          drovan_key_free(key);
          break;
        default:
          drovan_filter_free(filter);
          break;
      }
    }
  }
}

/* A selection that is used for schemas that come and go. */
static void otherSchemas(void) {
  int i;
  for (i = 0; i != 3; ++i) {
    drovan_schema *const schema =
        yaml("module: M\ntypes: {E: {entity: {id: String}}, R: {entity: {e: {keyed: E, by: id}}}}");
    drovan_resolver *resolver = NULL;
    OK(drovan_resolver_new(schema, S(""), 0, &resolver, &error));
    OK(drovan_resolve_text(resolver, S("/e[id=x]"), DROVAN_READ, found, &error));
    drovan_resolver_free(resolver);
    drovan_schema_free(schema);
    CHECK(drovan_selection_count(found) == 1);
    if (i == 1) {
      OK(resolve("/vrf[name=red]"));
    }
  }
}

int main(void) {
  OK(drovan_schema_yaml_file(S(FOLDER "/examples/network.yaml"), &network, &error));
  OK(drovan_resolver_new(network, S(""), 0, &device, &error));
  OK(drovan_selection_new(&found, &error));
  versions();
  schemas();
  roots();
  selections();
  yangPaths();
  yangFeatures();
  fileNames();
  nearNames();
  classes();
  expansions();
  messages();
  kinds();
  moreKinds();
  parts();
  comparisons();
  pathsOfEntries();
  decoderJobs();
  s4Texts();
  misuse();
  orders();
  otherSchemas();
  drovan_selection_free(found);
  drovan_resolver_free(device);
  drovan_schema_free(network);
  drovan_error_clear(&error);
  printf("%d checks, %d failed\n", checks, failures);
  return failures == 0 ? 0 : 1;
}
