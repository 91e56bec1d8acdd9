/* Typed keys of collections from the texts of data paths, for every language that can call C.
 *
 *   drovan_schema *schema = NULL;
 *   drovan_resolver *resolver = NULL;
 *   drovan_selection *found = NULL;
 *   drovan_key *key = NULL;
 *   drovan_error error = DROVAN_ERROR_INIT;
 *
 *   if (drovan_schema_yaml_file(drovan_str("network.yaml"), &schema, &error) == DROVAN_OK &&
 *       drovan_resolver_new(schema, drovan_str("Device"), 0, &resolver, &error) == DROVAN_OK &&
 *       drovan_selection_new(&found, &error) == DROVAN_OK &&
 *       drovan_resolve_text(resolver, drovan_str("/vrf[name=red]"), DROVAN_READ, found, &error) == DROVAN_OK &&
 *       drovan_selection_key(found, 0, &key, &error) == DROVAN_OK) {
 *     ... key holds the string red ...
 *   } else {
 *     fprintf(stderr, "%s\n", error.text.data);
 *   }
 *   drovan_key_free(key), drovan_selection_free(found), drovan_resolver_free(resolver), drovan_schema_free(schema);
 *   drovan_error_clear(&error);
 *
 *   accepted   "/vrf[name=red]"     one selection: Vrf's key "red"
 *   refused    "/vrf[nmae=red]"     DROVAN_KEY_UNKNOWN at byte 5: unknown key 'nmae' of 'vrf'; `near_names`: name
 *
 * Answers. Every function that can fail returns a class, DROVAN_OK where it did what it says, and fills the error where
 * one is given; `error` may be NULL. An error whose size is not set makes every call DROVAN_MISUSE and is not filled:
 * look at the class that is returned. After a failure, what would have been handed out is NULL or unchanged. Nothing is
 * thrown.
 *
 * Texts are bytes with a length, which may hold NUL. Texts that are given are read during the call. Texts that are
 * handed out as `drovan_text` are views, followed by a NUL byte; each function says of what. Those of the schema last
 * as long as any handle that was made from it. Texts handed out as `char *` belong to the caller, who gives them to
 * `drovan_free`; they end in a NUL byte that their size does not count, and `size` may be NULL.
 *
 * Handles. What a `_new` or another function makes belongs to the caller, until the `_free` of its kind, which takes
 * NULL as well. Handles keep what they need: they may be freed in any order. A NULL handle, and one of another kind, is
 * DROVAN_MISUSE; functions that return a count answer 0 to it, `drovan_key_kind` a negative number, and `_free` leaves
 * a handle of another kind alone. Not checked: a handle that was freed.
 *
 * Threads. Schemas, resolvers and keys never change: any number of threads may use one at once. A selection, a filter
 * and an error are used by one thread at a time. No handle is freed while another thread uses it; a build with
 * assertions ends the process where it finds that out.
 *
 * Memory. What cannot be had is DROVAN_NO_MEMORY, and every handle can be used as before. But the process ends, as it
 * does everywhere in the library, where memory runs out while a schema is loaded, a resolver is made, a value is read
 * (also to check that a path is read back as the same), or JSON is made. Blocks for small values are kept for reuse
 * until the process ends.
 *
 * Structures that begin with their size may get more fields at their end. The caller sets it, `sizeof` of the
 * structure: what is larger than this version knows is left alone, what is smaller is DROVAN_MISUSE.
 * C11, C++98. This is version 0: functions may still change until 1. */
#ifndef DROVAN_H
#define DROVAN_H

#include <stddef.h>
#include <stdint.h>
#include <string.h>

#define DROVAN_VERSION_MAJOR 0
#define DROVAN_VERSION_MINOR 1

#ifdef __cplusplus
extern "C" {
#endif

/* The version of the library that is loaded: its major times 1000 and its minor. */
int drovan_version(void);

/* What went wrong. DROVAN_MALFORMED to DROVAN_BOUND_PASSED are the classes of gnmi/Error.h. */
enum {
  DROVAN_OK = 0,
  DROVAN_MALFORMED = 1,        /* the text is no path, or the message is none */
  DROVAN_UNKNOWN_NODE = 2,     /* an element that the schema does not have */
  DROVAN_UNKNOWN_ORIGIN = 3,   /* an origin that names no model */
  DROVAN_AMBIGUOUS = 4,        /* a plain name that several modules have at that place */
  DROVAN_KEY_MISSING = 5,      /* keys are left out where an exact entry is asked for */
  DROVAN_KEY_UNKNOWN = 6,      /* a key that the list does not have */
  DROVAN_KEY_TWICE = 7,        /* a key that is given twice */
  DROVAN_VALUE_REFUSED = 8,    /* a value that its type refuses; all that the decoder refuses */
  DROVAN_WILDCARD_REFUSED = 9, /* a wildcard where an exact node is asked for */
  DROVAN_CONFLICT = 10,        /* prefix and path that contradict */
  DROVAN_UNSUPPORTED = 11,     /* a filter on a part of a part */
  DROVAN_BOUND_PASSED = 12,    /* wildcards that mean more nodes than the bounds allow */
  DROVAN_BAD_SCHEMA = 20,      /* a schema that does not load: a line for each problem */
  DROVAN_OTHER_KIND = 21,      /* a key holds something else than what is asked for, or does not fit */
  DROVAN_NO_NAME = 22,         /* a type, an attribute, a part of that name, or an index, that there is not */
  DROVAN_MISUSE = 23,          /* a call that breaks a rule of this header: a NULL handle, an unknown flag */
  DROVAN_NO_MEMORY = 24,
  DROVAN_SYSTEM = 25 /* the system refuses something else than memory */
};

/* "KeyUnknown", for instance; "?" for a number that is no class. Static. */
char const *drovan_class_name(int kind);

typedef struct drovan_text {
  char const *data; /* may be NULL where the size is 0 */
  size_t size;
} drovan_text;

/* A view of a text that ends in NUL, or of none for NULL. */
static inline drovan_text drovan_str(char const *text) {
  drovan_text view;
  view.data = text;
  view.size = text == NULL ? 0 : strlen(text);
  return view;
}

/* The place of an error that has none. */
#define DROVAN_NOWHERE ((size_t)-1)

/* Filled by each call that it is given to, and emptied first. Its texts are its own, until then or until
 * `drovan_error_clear`. Never copied. Set to DROVAN_ERROR_INIT before its first use. */
typedef struct drovan_error {
  size_t size;
  void *owned;         /* the library's */
  int32_t kind;        /* the class */
  int32_t in_prefix;   /* 1: the place is in the prefix */
  size_t element;      /* the index of the element, the number of elements where it is none of them, as for an
                          origin; DROVAN_NOWHERE where it is about no path */
  size_t offset;       /* of a path that was text: the byte, or its size where something is missing at its end;
                          else DROVAN_NOWHERE */
  drovan_text text;    /* one sentence, without the place; names and values stand in it as they are */
  drovan_text key;     /* the name of the key; empty where it is about none */
  drovan_text unknown; /* the name that does not exist */
  drovan_text const *near_names; /* those that do exist, the ones like it first */
  size_t near_count;
} drovan_error;

#define DROVAN_ERROR_INIT \
  {sizeof(drovan_error), NULL, DROVAN_OK, 0, DROVAN_NOWHERE, DROVAN_NOWHERE, {"", 0}, {"", 0}, {"", 0}, NULL, 0}

/* Gives back what the error holds; it may be used again. */
void drovan_error_clear(drovan_error *error);

/* A text that was handed out as `char *`; NULL as well. */
void drovan_free(char *text);

/* ---- schemas */

typedef struct drovan_schema drovan_schema;

/* Files of YAML as yaml/Yaml.h has them. Imports stay in the folder of the file. */
int drovan_schema_yaml_file(drovan_text path, drovan_schema **schema, drovan_error *error);
/* `name` stands for the file in problems; imports are looked up beside it. */
int drovan_schema_yaml_text(drovan_text yaml, drovan_text name, drovan_schema **schema, drovan_error *error);

enum {
  DROVAN_ALL_FEATURES = 1,      /* every feature is on */
  DROVAN_IMPLEMENT_IMPORTS = 2, /* identities of modules that are only imported are values, too */
  DROVAN_STRICT = 4             /* a module that does not load is an error, also of whole folders */
};

/* YANG modules as yang/Yang.h has them: by name, or "name@revision", from the folders; or all that are there where none
 * is named. A feature is "module:feature", of a module that is loaded; without DROVAN_ALL_FEATURES no other is on, and
 * a module does not load that lacks one that is asked for. */
typedef struct drovan_yang {
  size_t size;
  drovan_text const *folders;
  size_t folder_count;
  drovan_text const *modules;
  size_t module_count;
  drovan_text const *features;
  size_t feature_count;
  unsigned flags;
} drovan_yang;
int drovan_schema_yang(drovan_yang const *yang, drovan_schema **schema, drovan_error *error);

/* Modules that did not load, and those of which one of several files was taken: views of the schema. */
size_t drovan_schema_warning_count(drovan_schema const *schema);
int drovan_schema_warning(drovan_schema const *schema, size_t index, drovan_text *warning, drovan_error *error);

void drovan_schema_free(drovan_schema *schema);

/* ---- paths */

typedef struct drovan_resolver drovan_resolver;

enum { DROVAN_USE_S4 = 1 /* values are s4 texts for types that have that encoding */ };

/* `root` names the entity type that paths start from; empty: that of the YANG modules, or the one entity type that no
 * other is made of. */
int drovan_resolver_new(drovan_schema const *schema, drovan_text root, unsigned flags, drovan_resolver **resolver,
                        drovan_error *error);
void drovan_resolver_free(drovan_resolver *resolver);

/* A path as a message of gNMI has it. */
typedef struct drovan_path_key {
  drovan_text name;
  drovan_text value;
} drovan_path_key;
typedef struct drovan_path_elem {
  drovan_text name;
  drovan_path_key const *keys; /* in any order */
  size_t key_count;
} drovan_path_elem;
typedef struct drovan_path {
  size_t size;
  drovan_text origin;
  drovan_text target;
  drovan_path_elem const *elems;
  size_t elem_count;
} drovan_path;

/* What a path is for: see gnmi/Resolver.h. Subscribing is reading. */
enum { DROVAN_READ = 0, DROVAN_WRITE = 1, DROVAN_DELETE = 2, DROVAN_NOTIFY = 3 };

/* What a path means: a node, and a selection of keys for each keyed collection on the way to it. */
typedef struct drovan_selection drovan_selection;

/* An empty one, to be filled again and again. */
int drovan_selection_new(drovan_selection **selection, drovan_error *error);
void drovan_selection_free(drovan_selection *selection);

/* The one node that a path names: texts as gnmi/Path.h has them, "/vrf[name=red]/route". After a failure the selection
 * is empty, as a new one is: it has no node. */
int drovan_resolve_text(drovan_resolver const *resolver, drovan_text path, int mode, drovan_selection *selection,
                        drovan_error *error);
/* `prefix` may be NULL. */
int drovan_resolve_message(drovan_resolver const *resolver, drovan_path const *prefix, drovan_path const *path,
                           int mode, drovan_selection *selection, drovan_error *error);

/* Each node that a path with wildcards means, until `visit` answers 0. The selection that it is shown is one for all,
 * for the time of the call; keys that are read from it last. `visit` throws nothing and uses an error of its own.
 * DROVAN_OK where it ended the visits; with DROVAN_BOUND_PASSED it was shown those before. `max_nodes` 0: 100,000. */
typedef int (*drovan_visit)(void *context, drovan_selection const *selection);
int drovan_expand_text(drovan_resolver const *resolver, drovan_text path, int mode, size_t max_nodes,
                       drovan_visit visit, void *context, drovan_error *error);
int drovan_expand_message(drovan_resolver const *resolver, drovan_path const *prefix, drovan_path const *path, int mode,
                          size_t max_nodes, drovan_visit visit, void *context, drovan_error *error);

enum { DROVAN_LEAF = 0, DROVAN_LEAF_LIST = 1, DROVAN_CONTAINER = 2, DROVAN_LIST = 3 };

/* The final node. Views of the schema. */
typedef struct drovan_node {
  size_t size;
  int32_t kind;
  drovan_text name; /* empty for the root */
  drovan_text type; /* of a list that of its entries */
} drovan_node;
int drovan_selection_node(drovan_selection const *selection, drovan_node *node, drovan_error *error);

enum {
  DROVAN_ONE = 0,  /* an exact key */
  DROVAN_SOME = 1, /* a filter */
  DROVAN_EVERY = 2 /* every key there is */
};

/* A keyed collection on the way. Views of the schema. */
typedef struct drovan_selected {
  size_t size;
  int32_t kind;
  size_t element;      /* the index of its node, counted from the root */
  drovan_text entity;  /* the type that has the collection, "Network::Vrf" */
  drovan_text name;    /* the collection's name there, "route" */
  size_t filter_count; /* how many parts a filter names */
} drovan_selected;

size_t drovan_selection_count(drovan_selection const *selection);
int drovan_selection_at(drovan_selection const *selection, size_t index, drovan_selected *selected,
                        drovan_error *error);

typedef struct drovan_key drovan_key;

/* The exact key; DROVAN_OTHER_KIND where there is none. */
int drovan_selection_key(drovan_selection const *selection, size_t index, drovan_key **key, drovan_error *error);
/* One part of a filter, in the order of the key type: its name, a view of the schema, and its value. `name` may be
 * NULL. */
int drovan_selection_filter(drovan_selection const *selection, size_t index, size_t part, drovan_text *name,
                            drovan_key **value, drovan_error *error);
/* Whether a key of the collection is selected: 1 or 0. A filter with parts selects no key of another type. */
int drovan_selection_matches(drovan_selection const *selection, size_t index, drovan_key const *key, int *matches,
                             drovan_error *error);
/* The path in its canonical form. DROVAN_VALUE_REFUSED where that would not be read back as the same: a key or filter
 * whose value is the text "*". The caller frees it. */
int drovan_selection_path(drovan_selection const *selection, char **path, size_t *size, drovan_error *error);

/* ---- keys, and values in general */

void drovan_key_free(drovan_key *key);

enum {
  DROVAN_BOOL = 0,
  DROVAN_INT = 1,
  DROVAN_UINT = 2,
  DROVAN_DOUBLE = 3,
  DROVAN_STRING = 4,
  DROVAN_BYTES = 5,
  DROVAN_SECONDS = 6,
  DROVAN_TIME = 7,
  DROVAN_IP_ADDRESS = 8,
  DROVAN_IP_PREFIX = 9,
  DROVAN_MAC_ADDRESS = 10,
  DROVAN_ENUM = 11,
  DROVAN_WRAPPER = 12,
  DROVAN_UNION = 13,
  DROVAN_PARTS = 14 /* put together from parts */
};

/* What it holds. A negative number for a NULL key. */
int drovan_key_kind(drovan_key const *key);
/* The name of its type, a view of the schema: "Network::RouteKey". */
int drovan_key_type(drovan_key const *key, drovan_text *name, drovan_error *error);

/* What a scalar holds, through wrappers; else DROVAN_OTHER_KIND. Seconds and times are integers of nanoseconds,
 * enumerators their numbers. As text: strings as their bytes, bytes decoded, enumerators by name, all others as they
 * print. A union is no scalar: of its alternatives one has a value, and `drovan_key_path_text` is its text. The caller
 * frees the text. */
int drovan_key_bool(drovan_key const *key, int *value, drovan_error *error);
int drovan_key_int64(drovan_key const *key, int64_t *value, drovan_error *error);
int drovan_key_uint64(drovan_key const *key, uint64_t *value, drovan_error *error);
int drovan_key_double(drovan_key const *key, double *value, drovan_error *error);
int drovan_key_text(drovan_key const *key, char **text, size_t *size, drovan_error *error);

/* The attributes of the key's type in declaration order: parts, what a wrapper holds, the alternatives of a union.
 * Their number, and one of them: its name, a view of the schema, and its value, NULL where it was never set. `name` and
 * `value` may be NULL. */
size_t drovan_key_part_count(drovan_key const *key);
int drovan_key_part(drovan_key const *key, size_t index, drovan_text *name, drovan_key **value, drovan_error *error);
int drovan_key_part_named(drovan_key const *key, drovan_text name, drovan_key **value, drovan_error *error);

/* The literal, for people: strings stand in it unescaped. As JSON by the rules of RFC 7951: integers of 64 bits are
 * strings. And as it stands in a path; DROVAN_OTHER_KIND where it cannot by itself. The caller frees the text. */
int drovan_key_print(drovan_key const *key, char **text, size_t *size, drovan_error *error);
int drovan_key_json(drovan_key const *key, char **text, size_t *size, drovan_error *error);
int drovan_key_path_text(drovan_key const *key, char **text, size_t *size, drovan_error *error);

/* By value and type; the types of two schemas differ, but for those that are built in, also where both are of one file.
 * Equal keys hash alike within one process; the order is total: `*order` is negative, 0 or positive. */
int drovan_key_equal(drovan_key const *a, drovan_key const *b, int *equal, drovan_error *error);
int drovan_key_compare(drovan_key const *a, drovan_key const *b, int *order, drovan_error *error);
int drovan_key_hash(drovan_key const *key, uint64_t *hash, drovan_error *error);

/* An entry of a collection: the type that has it, its name there, and the key. */
typedef struct drovan_entry {
  drovan_text entity;
  drovan_text name;
  drovan_key const *key;
} drovan_entry;
/* The path of an entry, from the outermost collection on. The caller frees it. */
int drovan_path_of(drovan_resolver const *resolver, drovan_entry const *entries, size_t count, char **path,
                   size_t *size, drovan_error *error);

/* ---- the decoder's own jobs; `entity` and `collection` name a keyed attribute, "Network::Vrf" and "route" */

/* One key that is one value. `*key` is NULL for "*", which is every key. Flags: DROVAN_USE_S4. */
int drovan_decode_scalar(drovan_schema const *schema, drovan_text entity, drovan_text collection, drovan_text key_name,
                         drovan_text value, unsigned flags, drovan_key **key, drovan_error *error);

/* A key from key paths, attribute names joined by "__", and their values. Each begins with the attribute of the entity
 * that holds the key: "key__vrf", "name" for a key that is one value. Of YANG lists the key leaf alone will do. The
 * last of several fields with one path counts. What is refused is DROVAN_VALUE_REFUSED, and says more in its text
 * alone. */
typedef struct drovan_field {
  drovan_text path;
  drovan_text value;
} drovan_field;
int drovan_decode_key(drovan_schema const *schema, drovan_text entity, drovan_text collection,
                      drovan_field const *fields, size_t count, unsigned flags, drovan_key **key, drovan_error *error);

/* Values that some parts of a key must have. */
typedef struct drovan_filter drovan_filter;
int drovan_filter_new(drovan_schema const *schema, drovan_text entity, drovan_text collection, unsigned flags,
                      drovan_filter **filter, drovan_error *error);
/* `path` is the part alone, "vrf". In place of an earlier value of that part; "*" changes nothing. */
int drovan_filter_set(drovan_filter *filter, drovan_text path, drovan_text value, drovan_error *error);
int drovan_filter_matches(drovan_filter const *filter, drovan_key const *key, int *matches, drovan_error *error);
void drovan_filter_free(drovan_filter *filter);

#ifdef __cplusplus
}
#endif

#endif
