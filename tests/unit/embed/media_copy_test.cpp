#include "embed/media_copy.h"

#include "embed/refusal.h"
#include "kav/exception.h"
#include "kav/memory_size.h"
#include "tests/support/bytes.h"
#include "tests/support/memory_stream.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <stdexcept>
#include <utility>

namespace quarrypack::embed {
namespace {

using namespace quarrypack::test;

// Splices insert bytes that tell their index.
class Numbered final : public SpliceContent {
 public:
  explicit Numbered(std::vector<Splice> splices) : splices_(std::move(splices)) {}

  void append(std::size_t splice, OutputBuffer& output) override {
    output.append(Bytes(splices_[splice].inserted, static_cast<std::uint8_t>(splice)));
  }

 private:
  std::vector<Splice> splices_;
};

Bytes numbered(std::size_t size) {
  Bytes bytes(size);
  for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<std::uint8_t>(i * 7 + i / 251);
  return bytes;
}

Bytes copied(const Bytes& input, const std::vector<Splice>& splices) {
  const auto in = MemoryStream::create(input);
  const auto out = MemoryStream::create();
  in->open();
  out->open();
  Numbered content(splices);
  const OffsetMap map(splices);
  copySpliced(*in, input.size(), *out, map, content);
  EXPECT_EQ(out->bytes().size(), map.newOffset(input.size() + 1) - 1);
  return out->bytes();
}

TEST(MediaCopy, CopiesAFileWithItsSplices) {
  const Bytes input = text("abcdefghij");
  EXPECT_EQ(copied(input, {}), input);
  EXPECT_EQ(copied(input, {{0, 2, 3}, {5, 1, 0}, {8, 0, 2}}),
            concat({{0, 0}, text("de"), {1}, text("fgh")}));
  EXPECT_EQ(copied(input, {{0, 0, 10}}), Bytes());
  EXPECT_EQ(copied(input, {{10, 2, 0}}), concat({input, {0, 0}}));
  EXPECT_EQ(copied({}, {{0, 2, 0}}), (Bytes{0, 0}));
}

TEST(MediaCopy, MovesEachByteToItsPlaceInAnyPieces) {
  std::mt19937 random(3);
  const Bytes input = numbered(3'500'000);
  std::vector<Splice> splices;
  for (std::uint64_t offset = random() % 5000; offset < input.size();) {
    const auto removed = static_cast<std::uint32_t>(random() % 3000);
    splices.push_back({offset, static_cast<std::uint32_t>(random() % 3000), removed});
    offset += removed + 1 + random() % 200'000;
  }
  ASSERT_LE(splices.back().end(), input.size());
  const Bytes output = copied(input, splices);
  const OffsetMap map(splices);
  OffsetMap::Cursor cursor(map);
  std::size_t next = 0;
  for (std::size_t i = 0; i < input.size(); ++i) {
    if (next < splices.size() && splices[next].offset == i) {
      i += norvik::kav::memorySize(splices[next++].removed);
    }
    if (i == input.size()) break;
    // What begins after a splice's offset lies after what it inserts.
    ASSERT_EQ(output.at(norvik::kav::memorySize(cursor.newOffset(i + 1) - 1)), input[i]) << i;
  }
}

TEST(MediaCopy, LargePiecesOfContentAreWrittenAsTheyAre) {
  const Bytes input = numbered(100);
  EXPECT_EQ(copied(input, {{50, 5u << 20, 0}}).size(), input.size() + (5u << 20));
}

TEST(MediaCopy, ReadsAndWritesInLargePieces) {
  const Bytes input = numbered(std::size_t{8} << 20);
  std::vector<Splice> splices;
  for (std::uint64_t i = 0; i < 8000; ++i) splices.push_back({i * 1000, 20, 0});
  const auto in = MemoryStream::create(input);
  const auto out = MemoryStream::create();
  in->open();
  out->open();
  Numbered content(splices);
  copySpliced(*in, input.size(), *out, OffsetMap(splices), content);
  EXPECT_LE(in->calls().read, 8u);
  EXPECT_LE(out->calls().write, 12u);
}

TEST(MediaCopy, ReportsHowFarItIs) {
  const Bytes input = numbered(3'000'000);
  const auto in = MemoryStream::create(input);
  const auto out = MemoryStream::create();
  in->open();
  out->open();
  Numbered content({});
  std::vector<std::uint64_t> reports;
  copySpliced(*in, input.size(), *out, OffsetMap(), content,
              [&reports](std::uint64_t done) { reports.push_back(done); });
  EXPECT_TRUE(std::is_sorted(reports.begin(), reports.end()));
  ASSERT_FALSE(reports.empty());
  EXPECT_EQ(reports.back(), input.size());
  EXPECT_LE(reports.size(), 20u);
}

TEST(MediaCopy, RefusesAnInputThatEndsEarly) {
  const auto in = MemoryStream::create(numbered(100));
  const auto out = MemoryStream::create();
  in->open();
  out->open();
  Numbered content({});
  EXPECT_THROW(copySpliced(*in, 101, *out, OffsetMap(), content), Refusal);
}

TEST(MediaCopy, RefusesContentOfAnotherLength) {
  const auto in = MemoryStream::create(numbered(100));
  const auto out = MemoryStream::create();
  in->open();
  out->open();
  const std::vector<Splice> shorter = {{10, 3, 0}};
  Numbered content(shorter);
  EXPECT_THROW(copySpliced(*in, 100, *out, OffsetMap({{10, 4, 0}}), content), std::logic_error);
}

TEST(MediaCopy, EveryFailureOfAStreamComesThrough) {
  const Bytes input = numbered(3'000'000);
  const std::vector<Splice> splices = {{10, 3, 0}, {2'000'000, 0, 500'000}};
  for (const bool ofInput : {true, false}) {
    for (const auto fault : {MemoryStream::Fault::fails, MemoryStream::Fault::isShort}) {
      for (std::size_t k = 1;; ++k) {
        const auto in = MemoryStream::create(input);
        const auto out = MemoryStream::create();
        in->open();
        out->open();
        Numbered content(splices);
        const auto& faulty = ofInput ? in : out;
        faulty->injectFault(k, fault);
        bool failed = false;
        try {
          copySpliced(*in, input.size(), *out, OffsetMap(splices), content);
        } catch (const norvik::kav::Exception&) {
          failed = true;
        } catch (const Refusal&) {
          failed = true;
        }
        if (!faulty->faultWasMet()) break;
        // A seek cannot be short.
        if (!failed) {
          EXPECT_EQ(out->bytes().size(), input.size() + 3 - 500'000) << k;
        }
        if (fault == MemoryStream::Fault::fails) {
          EXPECT_TRUE(failed) << k;
        }
      }
    }
  }
}

}  // namespace
}  // namespace quarrypack::embed
