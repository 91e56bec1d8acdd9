// The command line: its subcommands and options, and what one call of the command asks for.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "zynkey/Options.h"

namespace ZynKey {

struct Invocation {
  std::function<Status(Options const&)> run;
  Options options;
};

/** The arguments behind the command's name. Help is something to run as well. Throws `UsageError`. */
Invocation parseArguments(std::vector<std::string> arguments);

/** A command line that is being typed. */
struct Unfinished {
  /** As far as they are given. */
  Options options;
  /** Empty before one is named. */
  std::string subcommand;
  /** The option that the next word is the value of; empty where it is none. */
  std::string valueOf;
  /** The names that there are: of the options, those that may stand here. */
  std::vector<std::string> subcommands;
  std::vector<std::string> optionNames;
};

/** Whatever is wrong with the words, or missing behind them, is left out. */
Unfinished parseUnfinished(std::vector<std::string> words);

}  // namespace ZynKey
