// Base64 texts of every length, cut and spoilt at every place, against a plain decoder.
#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "Drovan/ZynKeyDecoder.h"
#include "tests/support/Plain.h"
#include "tests/support/Provider.h"

namespace Recording {
namespace {

using Drovan::ZynKeyDecoder;

constexpr std::string_view alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

std::string encode(std::string_view bytes) {
  std::string text;
  for (std::size_t at = 0; at < bytes.size(); at += 3) {
    auto const byte = [&](std::size_t offset) {
      return at + offset < bytes.size() ? static_cast<unsigned char>(bytes[at + offset]) : 0U;
    };
    unsigned const group = byte(0) << 16U | byte(1) << 8U | byte(2);
    for (unsigned digit = 0; digit < 4; ++digit) {
      text += at + digit > bytes.size() ? '=' : alphabet[group >> (18U - 6 * digit) & 63U];
    }
  }
  return text;
}

class Base64 : public testing::Test {
 protected:
  /** The bytes that the type was given. */
  std::string decoded(std::string_view text) {
    std::vector<char> const exact(text.begin(), text.end());
    world.forget();
    (void)ZynKeyDecoder(Zyn::ZynAttr(), true).decodeScalarKey(type, "", {exact.data(), exact.size()});
    return world.message;
  }

  void check(std::string_view text) {
    ASSERT_EQ(decoded(text), Plain::decodeBase64(text)) << text.size() << ": " << text;
  }

  static std::string pattern(std::size_t size) {
    std::string bytes(size, '\0');
    for (std::size_t at = 0; at < size; ++at) {
      bytes[at] = static_cast<char>((at * 167 + size) & 0xFFU);
    }
    return bytes;
  }

  static constexpr std::string_view wrong{"= -_\0\xff*", 7};

  World world;
  Zyn::ZynType const type = world.type({.name = "T", .hasS4 = true});
};

TEST_F(Base64, EveryLengthCutAndSpoiltAnywhere) {
  std::size_t tried = 0;
  for (std::size_t size = 0; size <= 260; ++size) {
    std::string const text = encode(pattern(size));
    ASSERT_EQ(decoded(text), pattern(size));
    for (std::size_t place = 0; place <= text.size(); ++place) {
      ASSERT_NO_FATAL_FAILURE(check(std::string_view(text).substr(0, place)));
      std::string spoilt = text;
      if (place < text.size()) {
        spoilt[place] = wrong[(size + place) % wrong.size()];
        ASSERT_NO_FATAL_FAILURE(check(spoilt));
      }
      tried += 2;
    }
  }
  EXPECT_GT(tried, 90'000U);
}

TEST_F(Base64, AroundEverySliceOfFourThousandAndNinetySixCharacters) {
  std::string const text = encode(pattern(std::size_t{4} * 3072));
  for (std::size_t const edge : {4096U, 8192U, 12288U}) {
    for (std::size_t size = edge - 9; size <= edge + 9 && size <= text.size(); ++size) {
      ASSERT_NO_FATAL_FAILURE(check(std::string_view(text).substr(0, size)));
      for (std::size_t place = edge - 9; place < edge + 9; ++place) {
        for (char const letter : wrong) {
          std::string spoilt = text.substr(0, size);
          if (place < size) {
            spoilt[place] = letter;
            ASSERT_NO_FATAL_FAILURE(check(spoilt));
          }
        }
      }
    }
  }
}

}  // namespace
}  // namespace Recording
