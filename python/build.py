"""build.py HEADER OUTPUT: writes the C source of the module drovan._drovan, from the declarations of drovan.h."""

import re
import sys

import cffi

# Whole lists of paths, without the interpreter's lock, which cffi gives back around every call.
MANY = """
typedef struct drovan_py_many {
  size_t count;
  size_t first_failed; /* the count where none is */
  drovan_selection **found;
} drovan_py_many;
drovan_py_many *drovan_py_resolve_many(drovan_resolver const *resolver, char const *paths, uint64_t const *sizes,
                                       size_t count, int mode, int is_first_enough);
void drovan_py_many_free(drovan_py_many *many);
"""

# What fails is NULL: the caller resolves it again, for its error.
SOURCE = """
#include <stdlib.h>
#include "drovan.h"
""" + MANY + """
void drovan_py_many_free(drovan_py_many *many) {
  size_t i;
  if (many != NULL) {
    for (i = 0; many->found != NULL && i != many->count; ++i) {
      drovan_selection_free(many->found[i]);
    }
    free(many->found);
    free(many);
  }
}

drovan_py_many *drovan_py_resolve_many(drovan_resolver const *resolver, char const *paths, uint64_t const *sizes,
                                       size_t count, int mode, int is_first_enough) {
  size_t i;
  drovan_py_many *const many = calloc(1, sizeof *many);
  if (many == NULL) {
    return NULL;
  }
  many->count = count;
  many->first_failed = count;
  many->found = calloc(count + 1, sizeof *many->found);
  if (many->found == NULL) {
    drovan_py_many_free(many);
    return NULL;
  }
  for (i = 0; i != count; ++i) {
    drovan_text path;
    path.data = paths;
    path.size = (size_t)sizes[i];
    paths += sizes[i];
    if (drovan_selection_new(&many->found[i], NULL) != DROVAN_OK) {
      drovan_py_many_free(many);
      return NULL;
    }
    if (drovan_resolve_text(resolver, path, mode, many->found[i], NULL) != DROVAN_OK) {
      drovan_selection_free(many->found[i]);
      many->found[i] = NULL;
      if (many->first_failed == count) {
        many->first_failed = i;
      }
      if (is_first_enough) {
        break;
      }
    }
  }
  return many;
}
"""


def declarations(header: str) -> str:
    """What cffi reads: no comments, no preprocessor, no function with a body."""
    text = re.sub(r"/\*.*?\*/", "", header, flags=re.S)
    text = re.sub(r"^#.*?[^\\]$", "", text, flags=re.S | re.M)
    text = re.sub(r"static inline [^{]*\{.*?\n\}", "", text, flags=re.S)
    return re.sub(r'extern "C" \{|^\}$', "", text, flags=re.M)


def main() -> None:
    header, output = sys.argv[1:]
    ffi = cffi.FFI()
    with open(header, encoding="utf-8") as file:
        ffi.cdef(declarations(file.read()))
    ffi.cdef(MANY)
    ffi.cdef('extern "Python" int drovan_py_visit(void *context, drovan_selection const *selection);')
    ffi.set_source("drovan._drovan", SOURCE)
    ffi.emit_c_code(output)


main()
