// Many requests, one JSON object a line; one answer line for each, in the order of the requests.
#pragma once

#include "model/Schema.h"
#include "zynkey/Lines.h"
#include "zynkey/Resolvers.h"

namespace ZynKey {

/**
 * Answers the requests of the file descriptor `input` as `answerLines` does. A line that is no request is answered with
 * an error that names the line, and the rest goes on. So is a line that is longer than `maxLine`.
 *
 * Beside the schema, memory is at most, for each job, 32 MiB, 128 times the longest line, which is what a path of
 * nothing but short elements takes, and four times the longest answer.
 */
Counts runBatch(int input, LineLimits limits, Model::Schema const& schema, Resolvers& resolvers);

}  // namespace ZynKey
