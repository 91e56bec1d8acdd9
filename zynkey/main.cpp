// The command `zynkey`: the decoder's jobs, and a look at schemas, for a person and for scripts.
//
// Exit status: 0 done; 1 a key did not decode, its error text the last line of stderr, but for a path, which follows
// with a caret below the place; 2 wrong usage, a bad schema, or files that cannot be read or written.

#include <csignal>
#include <exception>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "model/Runtime.h"
#include "zynkey/CommandLine.h"
#include "zynkey/Completion.h"
#include "zynkey/OutOfMemory.h"
#include "zynkey/Output.h"
#include "zynkey/Schemas.h"

namespace ZynKey {
namespace {

Status run(std::vector<std::string> arguments) {
  if (arguments.size() > 1 && arguments.front() == "complete") {
    return complete({arguments.begin() + 1, arguments.end()});
  }
  Invocation const invocation = parseArguments(std::move(arguments));
  // Only the batch has threads, and only when asked for.
  Model::setThreadSafe(invocation.options.jobs > 1);
  return invocation.run(invocation.options);
}

int runReported(std::vector<std::string> arguments) {
  try {
    Status const status = run(std::move(arguments));
    flushOut();
    return status;
  } catch (std::bad_alloc const&) {
    outOfMemory();
  } catch (BadSchema const& bad) {
    writeError(bad.what());
  } catch (std::exception const& error) {
    writeError(std::string("zynkey: ") + error.what() + '\n');
  }
  return WrongUsage;
}

}  // namespace
}  // namespace ZynKey

int main(int argc, char** argv) {
  // Who closes the other end of a pipe wants no more of it: that ends the command without a word, as it ends other
  // commands, also where a parent process that ignores the signal has passed that on.
  std::signal(SIGPIPE, SIG_DFL);
  ZynKey::exitWhenOutOfMemory();
  return ZynKey::runReported({argv + 1, argv + argc});
}
