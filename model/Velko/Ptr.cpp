#include "Velko/Ptr.h"

#include "model/Runtime.h"

namespace Velko {

bool ThreadControl::tsp_ = true;

Node::~Node() = default;

void Node::decUseImpl() const noexcept { delete this; }

}  // namespace Velko

namespace Model {

void setThreadSafe(bool on) noexcept { Velko::ThreadControl::tsp_ = on; }

}  // namespace Model
