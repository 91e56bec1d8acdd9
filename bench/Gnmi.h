// Paths of gNMI as works: read, looked up in a schema that is prepared, and turned into typed keys.
#pragma once

#include <memory>
#include <string>

#include "bench/Work.h"
#include "gnmi/Resolver.h"

namespace Bench {

using SharedResolver = std::shared_ptr<Gnmi::Resolver const>;

/** Of the schema that has the collection at its top. */
SharedResolver resolverOf(Zyn::ZynAttr collection);

/** The text is read each time; path and results are used again. */
Work textPath(std::string name, SharedResolver resolver, std::string text);
/** The same path as a message, which is read each time. */
Work messagePath(std::string name, SharedResolver resolver, std::string const& text);

}  // namespace Bench
