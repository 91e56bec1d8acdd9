// The header alone, in the oldest C++: the properties of its target.
#include "c/drovan.h"
