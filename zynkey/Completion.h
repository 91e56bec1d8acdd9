// Completion in a shell.
#pragma once

#include <string>
#include <vector>

#include "zynkey/Options.h"

namespace ZynKey {

/**
 * Prints what the last of the words may become, one a line, with a blank where it ends. The words are those behind the
 * command's name, as typed so far; there is at least one. What cannot be completed is answered with nothing. Throws
 * `BadSchema`, and `UsageError` where the schema has no one entity that paths start from.
 */
Status complete(std::vector<std::string> words);

}  // namespace ZynKey
