// What each subcommand does. All of these print to stdout and stderr; they throw `UsageError` and `BadSchema`.
#pragma once

#include "zynkey/Options.h"

namespace ZynKey {

Status decodeKey(Options const& options);
Status decodeScalar(Options const& options);
Status decodeFilter(Options const& options);
Status splitPath(Options const& options);
Status resolvePaths(Options const& options);
Status showTypes(Options const& options);
Status showS4(Options const& options);
Status checkSchema(Options const& options);
Status answerBatch(Options const& options);
Status printRows(Options const& options);

}  // namespace ZynKey
