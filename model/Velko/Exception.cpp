#include "Velko/Exception.h"

#include "Velko/Pb.h"

namespace Velko {

// Defined here, so that this library has the type information by which all libraries catch them.
Exception::~Exception() = default;
Pb::PbReadException::~PbReadException() = default;

}  // namespace Velko
