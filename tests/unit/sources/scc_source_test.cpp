#include "sources/scc_source.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/support/bytes.h"
#include "tests/support/memory_stream.h"

namespace quarrypack::sources {
namespace {

using captions::BytePair;
using captions::Field;

TEST(SccSource, GivesThePairsInTheFieldOfTheirCommands) {
  CaptionPairs one = readSccPairs("Scenarist_SCC V1.0\r\n\r\n00:00:01;00\t9420 9420 942f 942f\r\n");
  EXPECT_EQ(one.source, "scc");
  EXPECT_EQ(one.of(Field::one).size(), 4u);
  EXPECT_TRUE(one.of(Field::two).empty());
  EXPECT_TRUE(one.findings.empty());
  CaptionPairs two = readSccPairs("Scenarist_SCC V1.0\r\n\r\n00:00:01;00\t1520 1520 152f 152f\r\n");
  ASSERT_EQ(two.of(Field::two).size(), 4u);
  EXPECT_EQ(two.of(Field::two).front().bytes, (BytePair{0x15, 0x20}));
}

TEST(SccSource, EndsAfterItsLastCaption) {
  CaptionPairs pairs = readSccPairs("Scenarist_SCC V1.0\r\n\r\n00:00:01;00\t9420 9420\r\n");
  EXPECT_GT(pairs.end, pairs.of(Field::one).back().time);
}

TEST(SccSource, ReadsAnOpenFile) {
  const std::string text = "Scenarist_SCC V1.0\r\n\r\n00:00:01;00\t9420 9420\r\n";
  const auto file = test::MemoryStream::create({text.begin(), text.end()});
  EXPECT_TRUE(isSccFile("film", *file));
  CaptionPairs pairs = readSccPairs(*file);
  EXPECT_EQ(pairs.of(Field::one).size(), 2u);
}

TEST(SccSource, RecognizesAFileByItsNameOrItsBeginning) {
  const auto isScc = [](const char* path, const std::string& text) {
    return isSccFile(path, *test::MemoryStream::create({text.begin(), text.end()}));
  };
  EXPECT_TRUE(isScc("film.SCC", "anything"));
  EXPECT_TRUE(isScc("film.mov", "\xEF\xBB\xBFScenarist_SCC V1.0"));
  EXPECT_FALSE(isScc("film.mov", "Scenarist"));
  EXPECT_FALSE(isScc("film.mov", ""));
}

TEST(SccSource, ReportsWhatIsUnusual) {
  const CaptionPairs pairs = readSccPairs("Scenarist_SCC V1.0\n\n00:00:01;00\t9420\n");
  ASSERT_EQ(pairs.findings.size(), 2u);
  EXPECT_NE(pairs.findings[0].find("carriage return"), std::string::npos);
}

TEST(SccSource, RefusesATextThatSaysNothing) {
  EXPECT_THROW(readSccPairs(""), SourceError);
  EXPECT_THROW(readSccPairs("Scenarist_SCC V1.0\r\n\r\n00:00:01;00\t8080\r\n"), SourceError);
  EXPECT_THROW(readSccPairs("no captions at all"), SourceError);
}

TEST(SccSource, RefusesAFileOfMoreThan64Mebibytes) {
  const auto errorOf = [](std::size_t size) {
    const auto file = test::MemoryStream::create(test::Bytes(size, ' '));
    try {
      readSccPairs(*file);
    } catch (const SourceError& error) {
      return std::string(error.what());
    }
    return std::string("none");
  };
  constexpr std::size_t kLargest = std::size_t{64} << 20;
  EXPECT_EQ(errorOf(kLargest + 1), "it has more than 64 MiB");
  EXPECT_NE(errorOf(kLargest), "it has more than 64 MiB");
}

}  // namespace
}  // namespace quarrypack::sources
