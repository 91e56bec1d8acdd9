/* A client as old or as new as the header that it is compiled with: EARLIER, where the error has one field less than
 * the library knows; LATER, where it has one more; else of the library's own version. */
#include <stdio.h>
#include <string.h>

#include "drovan.h"

int main(void) {
  drovan_schema *schema = NULL;
  drovan_resolver *resolver = NULL;
  drovan_selection *found = NULL;
  drovan_error error = DROVAN_ERROR_INIT;
  int kind;
#ifdef LATER
  error.later = 7;
#endif
  kind = drovan_schema_yaml_text(drovan_str("module: M\ntypes: {Box: {entity: {name: String}}}"),
                                 drovan_str("box.yaml"), &schema, &error);
#ifdef EARLIER
  /* Never filled: there is no room for all that the library would write. */
  printf("%s\n", drovan_class_name(kind));
  kind = kind != DROVAN_MISUSE || schema != NULL || error.text.size != 0 || error.owned != NULL;
#else
  if (kind == DROVAN_OK && drovan_resolver_new(schema, drovan_str(""), 0, &resolver, &error) == DROVAN_OK &&
      drovan_selection_new(&found, &error) == DROVAN_OK) {
    kind = drovan_resolve_text(resolver, drovan_str("/nmae"), DROVAN_READ, found, &error);
  }
  printf("%s: %s\n", drovan_class_name(kind), error.text.data);
  kind = kind != DROVAN_UNKNOWN_NODE || error.size != sizeof error;
#ifdef LATER
  kind = kind || error.later != 7;
#endif
#endif
  drovan_selection_free(found);
  drovan_resolver_free(resolver);
  drovan_schema_free(schema);
  drovan_error_clear(&error);
  return kind;
}
