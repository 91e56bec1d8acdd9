// Standard output and standard error.
//
// Files and pipes get every byte as it is. On a terminal, control characters and bytes that are no UTF-8 are shown as
// \x1b and the like, but for the ends of lines and tabs: no value may give orders to the terminal.
#pragma once

#include <string>
#include <string_view>

namespace ZynKey {

/** Throws `UsageError` when the text cannot be written, such as to a full disk: an answer is not lost unnoticed. */
void writeOut(std::string_view text);

/**
 * All of the text, and what was written before, has arrived when this returns. Where it cannot, such as on a disk that
 * is full, a file that nobody else writes to is cut back to where it ended before the text. Throws `UsageError` then.
 */
void writeWhole(std::string_view text);

/** What was written has arrived when this returns. Throws `UsageError` when it cannot. */
void flushOut();

void writeError(std::string_view text);

/** `text` as a terminal gets it. */
std::string forTerminal(std::string_view text);

}  // namespace ZynKey
