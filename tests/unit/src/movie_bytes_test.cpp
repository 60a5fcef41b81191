#include "src/movie_bytes.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>

#include "kav/exception.h"
#include "tests/support/bytes.h"
#include "tests/support/expect_code.h"
#include "tests/support/media_samples.h"
#include "tests/support/memory_stream.h"
#include "tests/support/movie_builder.h"

namespace quarrypack {
namespace {

using namespace test;

class MovieBytesTest : public testing::Test {
 protected:
  const Bytes file = MovieBuilder({videoTrack(), soundTrack(), captionTrack(3)}).build();
  norvik::kav::Movie movie{MemoryStream::create(file)};
  MovieBytes bytes{movie};
};

TEST_F(MovieBytesTest, AreThoseOfTheFile) {
  Bytes type(4);
  bytes.readAt(4, type);
  EXPECT_EQ(type, text("ftyp"));
  bytes.peekAt(0, type);
  EXPECT_EQ(type, Bytes(file.begin(), file.begin() + 4));
}

TEST_F(MovieBytesTest, EndWithTheFile) {
  Bytes two(2);
  EXPECT_CODE(shortRead, bytes.readAt(file.size() - 1, two));
  EXPECT_CODE(shortRead, bytes.peekAt(file.size() - 1, two));
  EXPECT_CODE(success, bytes.readAt(file.size() + 9, {}));
  EXPECT_CODE(success, bytes.peekAt(file.size() + 9, {}));
}

TEST_F(MovieBytesTest, MustHoldASample) {
  norvik::kav::Sample sample;
  sample.fileOffset = file.size() - 2;
  sample.info.size = 2;
  EXPECT_CODE(success, bytes.require(sample));
  sample.info.size = 3;
  EXPECT_CODE(shortRead, bytes.require(sample));
  sample.fileOffset = ~std::uint64_t{0};
  EXPECT_CODE(shortRead, bytes.require(sample));
  sample.info.size = 0;
  EXPECT_CODE(success, bytes.require(sample)) << "nothing is nowhere";
}

}  // namespace
}  // namespace quarrypack
