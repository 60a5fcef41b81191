#include "src/caption_queue.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "kav/memory_size.h"
#include "tests/support/bytes.h"
#include "tests/support/media_samples.h"

namespace quarrypack {
namespace {

using test::Bytes;

// Every sample of these tests is one slice of its own.
const Bytes kSlice = test::accessUnit({test::nal(test::kSlice, test::text("picture"))});

class Slices final : public ByteSource {
 public:
  void readAt(std::uint64_t fileOffset, std::span<std::uint8_t> destination) override {
    for (std::size_t i = 0; i < destination.size(); ++i) {
      destination[i] = kSlice[norvik::kav::memorySize((fileOffset + i) % kSlice.size())];
    }
  }
};

// The file of the captions: at each offset the letter that the offset is the code of.
class LetterPairs final : public ByteSource {
 public:
  void readAt(std::uint64_t fileOffset, std::span<std::uint8_t> destination) override {
    const Bytes bytes = test::cdat(Bytes(2, static_cast<std::uint8_t>(fileOffset)));
    ASSERT_EQ(destination.size(), bytes.size());
    std::copy(bytes.begin(), bytes.end(), destination.begin());
    ++reads;
  }

  int reads = 0;
};

// Samples at these times, in thousandths.
PendingSamples samplesAt(const std::vector<std::uint64_t>& times) {
  PendingSamples samples;
  for (const std::uint64_t time : times) {
    PendingSample sample;
    sample.decodingTime = time;
    sample.size = static_cast<std::uint32_t>(kSlice.size());
    samples.append(sample);
  }
  return samples;
}

class Group {
 public:
  explicit Group(const std::vector<std::uint64_t>& times)
      : pending_(samplesAt(times)), sorted_(pending_, pending_.size(), timescales_, slices_) {}

  SortedGroup& sorted() { return sorted_; }

  // The captions that each sample carries, in the order of their units, as their letters.
  std::vector<std::string> letters() {
    std::vector<std::string> all;
    for (std::size_t i = 0; i < pending_.size(); ++i) {
      std::string letters;
      if (const SplicedSampleBytes* spliced = sorted_.splicedBytes(i)) {
        Bytes bytes(norvik::kav::memorySize(spliced->size()));
        spliced->copyTo(bytes);
        EXPECT_EQ(bytes.size(), pending_[i].size);
        // The pair of a caption is its letter twice.
        for (std::size_t at = 0; at + 1 < bytes.size(); ++at) {
          if (bytes[at] >= 'P' && bytes[at] <= 'Z' && bytes[at] == bytes[at + 1]) {
            letters += static_cast<char>(bytes[at]);
          }
        }
      }
      all.push_back(letters);
    }
    return all;
  }

 private:
  PendingSamples pending_;
  std::vector<std::uint32_t> timescales_{1000};
  Slices slices_;
  SortedGroup sorted_;
};

CaptionInFile caption(char letter, std::uint64_t time, std::uint32_t timescale = 1000,
                      std::uint32_t offset = 0) {
  return {.fileOffset = static_cast<std::uint8_t>(letter),
          .size = 10,
          .decodingTime = time,
          .timescale = timescale,
          .compositionOffset = offset};
}

using Letters = std::vector<std::string>;

class CaptionQueueTest : public testing::Test {
 protected:
  CaptionQueueTest() { nalLengthSize = 4; }

  Letters attach(const std::vector<std::uint64_t>& times) {
    Group group(times);
    queue.attachDue(group.sorted());
    return group.letters();
  }

  LetterPairs file;
  CaptionQueue queue{file};
};

TEST_F(CaptionQueueTest, LeavesAGroupAloneWhileItIsEmpty) {
  EXPECT_EQ(attach({0, 40}), (Letters{"", ""}));
}

TEST_F(CaptionQueueTest, AttachesACaptionToTheFirstSampleShownAtItsTimeOrLater) {
  queue.push(caption('P', 40));
  queue.push(caption('Q', 41));
  EXPECT_EQ(attach({0, 40, 80}), (Letters{"", "P", "Q"}));
}

TEST_F(CaptionQueueTest, AttachesACaptionOnce) {
  queue.push(caption('P', 0));
  EXPECT_EQ(attach({0}), (Letters{"P"}));
  EXPECT_EQ(attach({0}), (Letters{""}));
}

TEST_F(CaptionQueueTest, KeepsACaptionUntilAGroupReachesItsTime) {
  queue.push(caption('P', 100));
  queue.push(caption('Q', 20));
  EXPECT_EQ(attach({0, 40}), (Letters{"", "Q"}));
  EXPECT_EQ(attach({80}), (Letters{""}));
  EXPECT_EQ(attach({}), Letters());
  EXPECT_EQ(attach({120, 160}), (Letters{"P", ""}));
}

// Of two units of one sample, the one that was inserted later comes first.
TEST_F(CaptionQueueTest, AttachesInTheOrderOfReadingWhateverTheTimes) {
  queue.push(caption('P', 90));
  queue.push(caption('Q', 80));
  queue.push(caption('R', 95));
  EXPECT_EQ(attach({100}), (Letters{"RQP"}));
}

TEST_F(CaptionQueueTest, AttachesInTheOrderOfReadingAcrossTimescales) {
  queue.push(caption('P', 9000, 90000));
  queue.push(caption('Q', 10, 100));
  queue.push(caption('R', 90, 1000));
  queue.push(caption('S', 8000, 90000));
  EXPECT_EQ(attach({100}), (Letters{"SRQP"}));
}

TEST_F(CaptionQueueTest, ComparesInTheTimescaleOfTheCaption) {
  queue.push(caption('P', 1, 10));                             // 100 thousandths
  queue.push(caption('Q', 9001, 90000));                       // a little more
  EXPECT_EQ(attach({99, 100, 101}), (Letters{"P", "", "Q"}));  // 99 counts as a tenth
}

TEST_F(CaptionQueueTest, GoesByTheTimeOfPresentation) {
  queue.push(caption('P', 0, 1000, 80));
  queue.push(caption('Q', 40));
  EXPECT_EQ(attach({0, 40}), (Letters{"", "Q"}));
  EXPECT_EQ(attach({80}), (Letters{"P"}));
}

TEST_F(CaptionQueueTest, ReadsACaptionOnlyWhenItIsDue) {
  queue.push(caption('P', 40));
  queue.push(caption('Q', 4000));
  EXPECT_EQ(file.reads, 0);
  attach({0, 40});
  EXPECT_EQ(file.reads, 1);
}

// The numbers of samples that are ready, in turn, with the letters that were attached before.
class ReadySamples {
 public:
  explicit ReadySamples(Group& group) : group_(group) {}

  void operator()(std::size_t count) {
    const Letters letters = group_.letters();
    text += std::to_string(count) + ':';
    for (std::size_t i = 0; i < count; ++i) text += letters[i] + ',';
    text += ' ';
  }

  std::string text;

 private:
  Group& group_;
};

TEST_F(CaptionQueueTest, ReportsSamplesThatGetNoMoreCaptions) {
  for (const auto& [letter, time] : std::vector<std::pair<char, std::uint64_t>>{
           {'P', 0}, {'Q', 40}, {'R', 120}, {'S', 80}, {'T', 80}, {'U', 160}}) {
    queue.push(caption(letter, time));
  }
  Group group({0, 40, 80, 120, 160});
  ReadySamples ready(group);
  EXPECT_EQ(queue.attachDue(group.sorted(), consoleListener(), std::ref(ready)), 6u);
  EXPECT_EQ(ready.text, "1:P, 2:P,Q, 4:P,Q,TS,R, ");
  EXPECT_EQ(group.letters(), (Letters{"P", "Q", "TS", "R", "U"}));
}

TEST_F(CaptionQueueTest, ReportsNoSampleReadyWhileTheFirstMayGetACaption) {
  queue.push(caption('P', 80));
  queue.push(caption('Q', 40));
  queue.push(caption('R', 0));
  Group group({0, 40, 80});
  ReadySamples ready(group);
  queue.attachDue(group.sorted(), consoleListener(), std::ref(ready));
  EXPECT_EQ(ready.text, "");
}

TEST_F(CaptionQueueTest, OutlivesItsCaptions) {
  for (int i = 0; i < 1000; ++i) queue.push(caption('P', static_cast<std::uint64_t>(1000 + i)));
  EXPECT_EQ(attach({0, 40}), (Letters{"", ""}));
  queue.push(caption('Q', 5));
  EXPECT_EQ(attach({0, 40}), (Letters{"", "Q"}));
}

}  // namespace
}  // namespace quarrypack
