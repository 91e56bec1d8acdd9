#include "zynkey/Batch.h"

#include <expected>
#include <string>
#include <string_view>

#include "zynkey/Jobs.h"
#include "zynkey/Names.h"
#include "zynkey/Requests.h"

namespace ZynKey {
namespace {

/** What a thread answers lines with. */
struct Answerer {
  Names names;
  Model::Schema const& schema;
  std::size_t maxLine;

  std::expected<Request, std::string> read(std::string_view line) {
    if (line.size() > maxLine) {
      return std::unexpected(tooLong(maxLine));
    }
    auto request = readRequest(line, names);
    if (request) {
      if (auto flaw = validate(*request, schema)) {
        return std::unexpected(*std::move(flaw));
      }
    }
    return request;
  }

  void operator()(std::string_view line, std::uint64_t number, std::string& answers, Counts& counts) {
    ++counts.answers;
    auto const request = read(line);
    Outcome const outcome =
        request ? run(*request)
                : std::unexpected(Failure(Velko::String("line " + std::to_string(number) + ": " + request.error())));
    counts.errors += outcome ? 0 : 1;
    appendJsonLine(outcome, answers);
  }
};

}  // namespace

Counts runBatch(int input, LineLimits limits, Model::Schema const& schema, Resolvers& resolvers) {
  return answerLines(input, limits,
                     Answerer{.names = Names(schema, &resolvers), .schema = schema, .maxLine = limits.maxLine},
                     "requests");
}

}  // namespace ZynKey
