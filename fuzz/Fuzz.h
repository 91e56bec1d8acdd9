// What the fuzz targets share. A target defines `Fuzz::run`; the harness calls it once for each input.
//
// Single-threaded. An input is any bytes of any length, and no input may end the process but by `require`, a sanitizer
// or an assertion of the library: each of them is a find.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

namespace Fuzz {

/** One input from start to end. What it makes is gone when it returns. Throws nothing. */
void run(std::string_view bytes);

/** Ends the process with `what` unless it holds, so that the fuzzer keeps the input. */
void require(bool holds, std::string_view what);

/** A copy that ends where its memory ends, so that the address sanitizer sees a read behind it. */
class Exact {
 public:
  explicit Exact(std::string_view text);

  std::string_view view() const { return {bytes_.get(), size_}; }

 private:
  std::unique_ptr<char[]> bytes_;
  std::size_t size_;
};

/** An input that is taken apart from the front. At its end it yields zeros and empty texts. */
class Input {
 public:
  explicit Input(std::string_view bytes) : rest_(bytes) {}

  bool empty() const { return rest_.empty(); }
  /** A number below `count`, from one byte: '0' is 0, '1' is 1 and so on, so that people can write inputs. */
  std::size_t choice(std::size_t count);
  /** Up to the first `end`, which is taken as well. */
  std::string_view upTo(char end);
  std::string_view rest();

 private:
  std::string_view rest_;
};

/** While it lives, the decoder's traces are made and dropped: what it makes of hostile text must hold as well. */
class Traced {
 public:
  Traced();
  ~Traced();
  Traced(Traced const&) = delete;
  Traced& operator=(Traced const&) = delete;
};

}  // namespace Fuzz
