#include "Velko/Exception.h"

#include "Velko/Pb.h"

namespace Velko {

// Out of line, so that the type's one identity, by which it is caught, lives here.
Exception::~Exception() = default;
Pb::PbReadException::~PbReadException() = default;

}  // namespace Velko
