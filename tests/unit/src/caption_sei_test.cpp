#include "src/caption_sei.h"

#include "captions/nal_units.h"
#include "captions/sei.h"
#include "kav/memory_size.h"
#include "tests/support/bytes.h"
#include "tests/support/expect_code.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <iostream>
#include <optional>
#include <random>
#include <span>
#include <sstream>
#include <string>
#include <vector>

namespace quarrypack {
namespace {

using test::Bytes;
using test::hex;

Bytes operator+(Bytes left, const Bytes& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

const Bytes kDelimiter = hex("00000002 09f0");
const Bytes kParameterSets = hex("00000004 6742c00d 00000002 68cb");
const Bytes kSlice = hex("00000004 6588aabb");

// A caption atom. Its size can be a false one.
Bytes atom(const std::string& type, const Bytes& pairs, std::uint32_t falseSize = 0) {
  const auto size = falseSize != 0 ? falseSize : static_cast<std::uint32_t>(pairs.size() + 8);
  Bytes bytes;
  for (int shift = 24; shift >= 0; shift -= 8) {
    bytes.push_back(static_cast<std::uint8_t>(size >> shift));
  }
  return bytes + Bytes(type.begin(), type.end()) + pairs;
}

// Pair bytes 0x80, 0x81, ... 0xff, 0x80, ...
Bytes pairBytes(std::size_t count) {
  Bytes bytes(count);
  for (std::size_t i = 0; i < count; ++i) bytes[i] = static_cast<std::uint8_t>(0x80 | (i & 0x7F));
  return bytes;
}

// A test that captures the console and restores the process-wide length size.
class InsertCaptionSei : public ::testing::Test {
 protected:
  InsertCaptionSei() : console_(std::cout.rdbuf(caught_.rdbuf())) { nalLengthSize = 4; }
  ~InsertCaptionSei() override {
    std::cout.rdbuf(console_);
    nalLengthSize = 4;
  }
  InsertCaptionSei(const InsertCaptionSei&) = delete;
  InsertCaptionSei& operator=(const InsertCaptionSei&) = delete;

  static Bytes inserted(const Bytes& video, const Bytes& caption) {
    MemorySampleBytes sample(video);
    PendingSample record;
    insertCaptionSei(sample, record, caption);
    EXPECT_EQ(record.size, sample.size());
    return sample.bytes();
  }

  // What was printed since the last call.
  std::string printed() {
    std::string text = caught_.str();
    caught_.str("");
    return text;
  }

 private:
  std::ostringstream caught_;
  std::streambuf* console_;
};

const char kInvalidLength[] = "Error 3: Invalid NAL Length  Detected!!!\n";
const char kUnknownType[] =
    "Unknown 608 channel Type detected...Assuming it to for be channel one\n";

TEST_F(InsertCaptionSei, PutsAUnitBeforeTheSlice) {
  EXPECT_EQ(inserted(kDelimiter + kParameterSets + kSlice, hex("0000000c 63646174 b1b2b3b4")),
            kDelimiter + kParameterSets +
                hex("00000015 060411b500314741393403c2ff fcb1b2 fcb3b4 ff80") + kSlice);
  EXPECT_EQ(printed(), "");
}

// Units of field 2 whose pairs count up from 0x80.
const Bytes kUnit0 = hex("0000000f 06040bb500314741393403c0ff ff80");
const Bytes kUnit1 = hex("00000012 06040eb500314741393403c1ff fd8081 ff80");
const Bytes kUnit24 = hex(
    "00000057 060453b500314741393403d8ff "
    "fd8081fd8283fd8485fd8687fd8889fd8a8bfd8c8dfd8e8ffd9091fd9293"
    "fd9495fd9697fd9899fd9a9bfd9c9dfd9e9ffda0a1fda2a3fda4a5fda6a7fda8a9fdaaabfdacadfdaeaf ff80");
// The second 24 pairs of a long row, and single pairs after 24 and after 48.
const Bytes kUnitNext24 = hex(
    "00000057 060453b500314741393403d8ff "
    "fdb0b1fdb2b3fdb4b5fdb6b7fdb8b9fdbabbfdbcbdfdbebffdc0c1fdc2c3"
    "fdc4c5fdc6c7fdc8c9fdcacbfdcccdfdcecffdd0d1fdd2d3fdd4d5fdd6d7fdd8d9fddadbfddcddfddedf ff80");
const Bytes kUnit25th = hex("00000012 06040eb500314741393403c1ff fdb0b1 ff80");
const Bytes kUnit49th = hex("00000012 06040eb500314741393403c1ff fde0e1 ff80");

TEST_F(InsertCaptionSei, PutsUnitsIntoEveryKindOfSample) {
  const Bytes captioned = hex("00000015 060411b500314741393403c2fffcb1b2fcb3b4ff80");
  struct Video {
    Bytes front, back;
  };
  const std::vector<Video> videos{{kDelimiter + kParameterSets, kSlice},
                                  {{}, kSlice},
                                  {kDelimiter + kParameterSets, {}},
                                  {{}, {}},
                                  {kDelimiter + kParameterSets, captioned + kSlice}};
  const std::vector<std::pair<std::size_t, Bytes>> captions{
      {0, kUnit0},
      {2, kUnit1},
      {48, kUnit24},
      {50, kUnit25th + kUnit24},
      {96, kUnitNext24 + kUnit24},
      {98, kUnit49th + kUnitNext24 + kUnit24},
  };
  for (const Video& video : videos) {
    for (const auto& [count, units] : captions) {
      EXPECT_EQ(inserted(video.front + video.back, atom("cdt2", pairBytes(count))),
                video.front + units + video.back)
          << count;
    }
  }
}

TEST_F(InsertCaptionSei, KeepsACaptionOf56BytesInOneUnit) {
  const Bytes caption = atom("cdat", hex("a1a2")) + atom("cdt2", pairBytes(38));
  ASSERT_EQ(caption.size(), 56u);
  const Bytes out = inserted(kSlice, caption);
  EXPECT_EQ(out,
            hex("0000004b 060447b500314741393403d4ff fca1a2 fd8081fd8283fd8485fd8687fd8889fd8a8b"
                "fd8c8dfd8e8ffd9091fd9293fd9495fd9697fd9899fd9a9bfd9c9dfd9e9ffda0a1fda2a3fda4a5"
                "ff80") +
                kSlice);
}

TEST_F(InsertCaptionSei, SplitsACaptionOf57BytesLastPieceFirst) {
  const Bytes caption = atom("cdat", hex("a1a2")) + atom("cdt2", pairBytes(39));
  ASSERT_EQ(caption.size(), 57u);
  EXPECT_EQ(inserted(kSlice, caption),
            // 19 whole pairs are counted, and 20 triplets written: no byte follows the piece.
            hex("0000004b 060447b500314741393403d3ff fd8081fd8283fd8485fd8687fd8889fd8a8b"
                "fd8c8dfd8e8ffd9091fd9293fd9495fd9697fd9899fd9a9bfd9c9dfd9e9ffda0a1fda2a3fda4a5"
                "fda600 ff80") +
                hex("00000012 06040eb500314741393403c1ff fca1a2 ff80") + kSlice);
}

TEST_F(InsertCaptionSei, SplitsManyAtomsInReverseOrder) {
  Bytes caption;
  Bytes want = kSlice;
  for (std::uint8_t i = 0; i < 6; ++i) {
    caption = caption + atom("cdat", {i, 0x99});
    want = hex("00000012 06040eb500314741393403c1ff fc") + Bytes{i, 0x99} + hex("ff80") + want;
  }
  ASSERT_EQ(caption.size(), 60u);
  EXPECT_EQ(inserted(kSlice, caption), want);
}

TEST_F(InsertCaptionSei, InsertsNothingForALongCaptionOfEmptyAtoms) {
  Bytes caption;
  for (int i = 0; i < 8; ++i) caption = caption + atom("cdat", {});
  EXPECT_EQ(inserted(kSlice, caption), kSlice);
}

TEST_F(InsertCaptionSei, BorrowsTheByteAfterAnOddAtom) {
  const Bytes out = inserted(kSlice, atom("cdat", hex("a1")) + atom("cdt2", hex("b1b2")));
  EXPECT_EQ(out, hex("00000015 060411b500314741393403c1ff fca100 fdb1b2 ff80") + kSlice);
}

TEST_F(InsertCaptionSei, TakesZeroAfterAnOddLastAtom) {
  EXPECT_EQ(inserted(kSlice, atom("cdat", hex("a1a2a3"))),
            hex("00000015 060411b500314741393403c1ff fca1a2 fca300 ff80") + kSlice);
}

TEST_F(InsertCaptionSei, LeavesAPairOfZerosUnescaped) {
  EXPECT_EQ(inserted(kSlice, atom("cdat", hex("00000000"))),
            hex("00000015 060411b500314741393403c2ff fc0000 fc0000 ff80") + kSlice);
}

// The borrowed byte ends a triplet too, so that no third byte of a row of zeros can follow it.
TEST_F(InsertCaptionSei, LeavesAZeroBorrowedAfterAZeroUnescaped) {
  EXPECT_EQ(inserted(kSlice, atom("cdat", hex("00")) + atom("cdt2", hex("0000"))),
            hex("00000015 060411b500314741393403c1ff fc0000 fd0000 ff80") + kSlice);
  EXPECT_EQ(inserted(kSlice, atom("cdt2", hex("000000"))),
            hex("00000015 060411b500314741393403c1ff fd0000 fd0000 ff80") + kSlice);
}

TEST_F(InsertCaptionSei, CountsNothingWithoutAtoms) {
  EXPECT_EQ(inserted(kSlice, {}), kUnit0 + kSlice);
  EXPECT_EQ(inserted(kSlice, hex("0000000c 636461")), kUnit0 + kSlice);
}

TEST_F(InsertCaptionSei, StopsAtAnAtomSmallerThanItsHeader) {
  for (const std::uint32_t size : {1u, 7u}) {
    EXPECT_EQ(inserted(kSlice, atom("cdt2", hex("8081")) + atom("cdt2", hex("a1a2"), size)),
              kUnit1 + kSlice);
  }
  EXPECT_EQ(inserted(kSlice, atom("cdt2", hex("8081")) + Bytes(10)), kUnit1 + kSlice);
  EXPECT_EQ(inserted(kSlice, Bytes(100)), kSlice);
}

TEST_F(InsertCaptionSei, ClampsAnAtomThatRunsPastTheEnd) {
  for (const std::uint32_t size : {11u, 0x7FFFFFFFu, 0xFFFFFFFFu}) {
    EXPECT_EQ(inserted(kSlice, atom("cdt2", hex("8081"), size)), kUnit1 + kSlice);
    EXPECT_EQ(inserted(kSlice, atom("cdt2", pairBytes(50), std::max(size, 59u))),
              kUnit25th + kUnit24 + kSlice);
  }
}

TEST_F(InsertCaptionSei, TakesAnUnknownTypeForField1) {
  EXPECT_EQ(inserted(kSlice, atom("cdt3", hex("a1a2"))),
            hex("00000012 06040eb500314741393403c1ff fca1a2 ff80") + kSlice);
  EXPECT_EQ(printed(), kUnknownType);
  inserted(kSlice, atom("abcd", pairBytes(50)));
  EXPECT_EQ(printed(), std::string(kUnknownType) + kUnknownType);
}

TEST_F(InsertCaptionSei, AppendsAtANegativeLength) {
  const Bytes video = kParameterSets + hex("80000000 6588");
  EXPECT_EQ(inserted(video, atom("cdt2", hex("8081"))), video + kUnit1);
  EXPECT_EQ(printed(), kInvalidLength);
  // Each piece meets the length again.
  EXPECT_EQ(inserted(video, atom("cdt2", pairBytes(50))), video + kUnit24 + kUnit25th);
  EXPECT_EQ(printed(), std::string(kInvalidLength) + kInvalidLength);
}

TEST_F(InsertCaptionSei, FindsANegativeLengthWithoutBytesAfterIt) {
  const Bytes video = hex("ffffffff");
  EXPECT_EQ(inserted(video, atom("cdt2", hex("8081"))), video + kUnit1);
  EXPECT_EQ(printed(), kInvalidLength);
}

TEST_F(InsertCaptionSei, ReportsTheLengthBeforeTheType) {
  inserted(hex("80000000 65"), atom("xxxx", pairBytes(50)));
  EXPECT_EQ(printed(), std::string(kInvalidLength) + kUnknownType + kInvalidLength + kUnknownType);
}

TEST_F(InsertCaptionSei, AppendsWhereTheSampleBreaksOff) {
  for (const char* broken : {"00", "000000", "00000002", "00000002 09", "00000005 67010203"}) {
    const Bytes video = hex(broken);
    EXPECT_EQ(inserted(video, atom("cdt2", hex("8081"))), video + kUnit1) << broken;
  }
  EXPECT_EQ(printed(), "");
}

// A parameter set that claims part of what is appended after it: the next unit is inserted inside
// the first, where the claim ends and a length of 0xfc00 before type 0 is read.
TEST_F(InsertCaptionSei, FollowsALengthIntoWhatWasAppended) {
  const Bytes video = hex("00000014 6742");
  const Bytes caption = atom("cdat", Bytes(48)) + atom("cdt2", hex("b0b1"));
  const Bytes first = inserted({}, atom("cdat", Bytes(48)));
  const auto place = first.begin() + 18;
  EXPECT_EQ(Bytes(place, place + 5), hex("0000fc0000"));
  EXPECT_EQ(inserted(video, caption),
            video + Bytes(first.begin(), place) + kUnit25th + Bytes(place, first.end()));
}

// The header of an empty NAL unit is the first byte after it, which an insertion there changes.
TEST_F(InsertCaptionSei, LooksAgainAtAnEmptyUnit) {
  nalLengthSize = 2;
  const Bytes longUnit(kUnit24.begin() + 2, kUnit24.end());
  const Bytes shortUnit(kUnit25th.begin() + 2, kUnit25th.end());
  const Bytes caption = atom("cdt2", pairBytes(50));
  EXPECT_EQ(inserted(hex("0000 070141"), caption),
            shortUnit + hex("0000") + longUnit + hex("070141"));
  EXPECT_EQ(inserted(hex("000107 0000 0700"), caption),
            hex("000107 0000") + shortUnit + hex("0700") + longUnit);
  // What follows the empty unit here has no header until something is appended.
  EXPECT_EQ(inserted(hex("0000 0980"), atom("cdt2", pairBytes(98))),
            Bytes(kUnit49th.begin() + 2, kUnit49th.end()) + hex("0000") +
                Bytes(kUnitNext24.begin() + 2, kUnitNext24.end()) + hex("0980") + longUnit);
}

TEST_F(InsertCaptionSei, UsesTheLengthSizeOfTheProgram) {
  nalLengthSize = 1;
  EXPECT_EQ(inserted(hex("0267420168 026588"), atom("cdt2", hex("8081"))),
            hex("0267420168 12 06040eb500314741393403c1fffd8081ff80 026588"));
  nalLengthSize = 3;
  EXPECT_EQ(inserted(hex("0000026742 0000026588"), atom("cdt2", hex("8081"))),
            hex("0000026742 000012 06040eb500314741393403c1fffd8081ff80 0000026588"));
}

TEST_F(InsertCaptionSei, ForgetsTheSearchOfAnotherLengthSize) {
  MemorySampleBytes sample(hex("00026742 00000002 6588"));
  PendingSample record;
  nalLengthSize = 2;
  insertCaptionSei(sample, record, atom("cdt2", hex("8081")));
  nalLengthSize = 4;
  insertCaptionSei(sample, record, atom("cdt2", hex("8081")));
  // With four length bytes the first unit is 0x26742 bytes of type 0.
  EXPECT_EQ(Bytes(sample.bytes().begin(), sample.bytes().begin() + 22), kUnit1);
}

// A sample of a file that is far larger than memory, and empty but for its first bytes.
class EndlessSource final : public ByteSource {
 public:
  void readAt(std::uint64_t fileOffset, std::span<std::uint8_t> destination) override {
    for (std::uint8_t& byte : destination) byte = fileOffset++ == 4 ? 0x65 : 0;
  }
};

TEST_F(InsertCaptionSei, RefusesASampleThatOutgrows32Bits) {
  EndlessSource file;
  PendingSample record;
  SplicedSampleBytes fits(file, 0, 0xFFFFFFFF - 22);
  insertCaptionSei(fits, record, atom("cdt2", hex("8081")));
  EXPECT_EQ(record.size, 0xFFFFFFFFu);
  SplicedSampleBytes outgrows(file, 0, 0xFFFFFFFF - 21);
  EXPECT_CODE(implausibleCount, insertCaptionSei(outgrows, record, atom("cdt2", hex("8081"))));
}

// The whole procedure, step by step on a plain vector, for comparison. Speed does
// not matter here.
class PlainProcedure {
 public:
  PlainProcedure(Bytes video, std::uint8_t lengthSize)
      : video_(std::move(video)), lengthSize_(lengthSize) {}

  void insert(const Bytes& caption) {
    const std::vector<Atom> all = atoms(caption);
    if (caption.size() > 56) {
      for (const Atom& a : all) {
        for (std::size_t done = 8; done < a.bytes.size(); done += 48) {
          const std::size_t end = std::min(done + 48, a.bytes.size());
          insert(atom(a.type, Bytes(a.bytes.begin() + static_cast<std::ptrdiff_t>(done),
                                    a.bytes.begin() + static_cast<std::ptrdiff_t>(end))));
        }
      }
      return;
    }
    const std::size_t place = findPlace();
    std::size_t count = 0;
    for (const Atom& a : all) count += (a.bytes.size() - 8) / 2;
    Bytes unit =
        hex("0604b5003147413934 03") + Bytes{static_cast<std::uint8_t>(0xC0 | count), 0xFF};
    for (const Atom& a : all) {
      if (a.type != "cdat" && a.type != "cdt2") text_ += kUnknownType;
      Bytes pairs(a.bytes.begin() + 8, a.bytes.end());
      if (pairs.size() % 2 != 0) pairs.push_back(a.nextByte);
      for (std::size_t i = 0; i < pairs.size(); i += 2) {
        unit = unit + Bytes{static_cast<std::uint8_t>(a.type == "cdt2" ? 0xFD : 0xFC), pairs[i],
                            pairs[i + 1]};
      }
    }
    unit.push_back(0xFF);
    captions::applyEmulationPrevention(unit);
    captions::appendSeiPayloadSize(unit, 2);
    unit.push_back(0x80);
    captions::prependNalLength(unit, lengthSize_);
    video_.insert(video_.begin() + static_cast<std::ptrdiff_t>(place), unit.begin(), unit.end());
  }

  const Bytes& video() const { return video_; }
  const std::string& text() const { return text_; }

 private:
  struct Atom {
    std::string type;
    Bytes bytes;
    std::uint8_t nextByte;
  };

  static std::vector<Atom> atoms(const Bytes& caption) {
    std::vector<Atom> found;
    std::size_t at = 0;
    while (caption.size() - at >= 8) {
      std::size_t size = 0;
      for (std::size_t i = 0; i < 4; ++i) size = size << 8 | caption[at + i];
      if (size < 8) break;
      const std::size_t end = std::min(at + size, caption.size());
      const auto begin = caption.begin() + static_cast<std::ptrdiff_t>(at);
      found.push_back({std::string(begin + 4, begin + 8),
                       Bytes(begin, caption.begin() + static_cast<std::ptrdiff_t>(end)),
                       end < caption.size() ? caption[end] : std::uint8_t{0}});
      at = end;
    }
    return found;
  }

  std::size_t findPlace() {
    std::size_t at = 0;
    while (at < video_.size()) {
      std::uint32_t length = 0;
      std::size_t header = at;
      for (; header < at + lengthSize_ && header < video_.size(); ++header) {
        length = length << 8 | video_[header];
      }
      if (length >= 0x80000000) {
        text_ += kInvalidLength;
        return video_.size();
      }
      if (header == video_.size()) return header;
      const int type = video_[header] & 0x1F;
      if (type != 7 && type != 8 && type != 9) return at;
      at = header + length;
    }
    return video_.size();
  }

  Bytes video_;
  std::uint8_t lengthSize_;
  std::string text_;
};

// A file of exactly the bytes of one sample.
class SampleSource final : public ByteSource {
 public:
  explicit SampleSource(Bytes bytes) : bytes_(std::move(bytes)) {}
  void readAt(std::uint64_t fileOffset, std::span<std::uint8_t> destination) override {
    ++reads;
    std::copy_n(bytes_.begin() + static_cast<std::ptrdiff_t>(fileOffset), destination.size(),
                destination.begin());
  }
  int reads = 0;

 private:
  Bytes bytes_;
};

TEST_F(InsertCaptionSei, EqualsThePlainProcedureOnBrokenSamples) {
  std::mt19937 random(5);
  const Bytes likely = hex("0000000000000001020304070708080909060580ff12");
  for (int round = 0; round < 6000; ++round) {
    nalLengthSize = static_cast<std::uint8_t>(1 + random() % 4);
    Bytes video(random() % 30);
    for (std::uint8_t& byte : video) byte = likely[random() % likely.size()];
    // Complete units at the start, so that the walk makes progress.
    for (std::size_t i = random() % 4; i > 0; --i) {
      const Bytes types = hex("0728094748");
      Bytes unit = Bytes{types[random() % types.size()]} + Bytes(random() % 3);
      captions::prependNalLength(unit, nalLengthSize);
      video = unit + video;
    }
    SampleSource source(video);
    SplicedSampleBytes spliced(source, 0, video.size());
    MemorySampleBytes memory(video);
    PlainProcedure plain(video, nalLengthSize);
    PendingSample record;
    for (int i = 0; i < 6; ++i) {
      Bytes caption;
      for (std::size_t atoms = random() % 4; atoms > 0; --atoms) {
        const std::string types[]{"cdat", "cdt2", "cdt3"};
        Bytes pairs(random() % 3 == 0 ? random() % 120 : random() % 8);
        for (std::uint8_t& byte : pairs) byte = likely[random() % likely.size()];
        const auto falseSize = static_cast<std::uint32_t>(random() % 16 == 0 ? random() % 70 : 0);
        caption = caption + atom(types[random() % 3], pairs, falseSize);
      }
      caption.resize(caption.size() - std::min<std::size_t>(caption.size(), random() % 3));
      insertCaptionSei(spliced, record, caption);
      const std::string text = printed();
      insertCaptionSei(memory, record, caption);
      EXPECT_EQ(printed(), text);
      const std::size_t textBefore = plain.text().size();
      plain.insert(caption);
      ASSERT_EQ(text, plain.text().substr(textBefore));
      ASSERT_EQ(memory.bytes(), plain.video()) << "round " << round;
      ASSERT_EQ(record.size, plain.video().size());
    }
    Bytes out(norvik::kav::memorySize(spliced.size()));
    spliced.copyTo(out);
    ASSERT_EQ(out, plain.video()) << "round " << round;
  }
}

TEST_F(InsertCaptionSei, TakesAHundredThousandCaptionsInOneSample) {
  // Many parameter sets, and one that claims more than there is: all captions are appended, and
  // each must be found without walking the parameter sets again.
  Bytes video;
  for (int i = 0; i < 20000; ++i) video = std::move(video) + hex("00000001 67");
  for (const char* last : {"00000004 6588aabb", "7fffffff 67"}) {
    const Bytes whole = video + hex(last);
    SampleSource source(whole);
    SplicedSampleBytes sample(source, 0, whole.size());
    PendingSample record;
    for (int i = 0; i < 100000; ++i) {
      insertCaptionSei(sample, record, atom("cdt2", hex("8081")));
    }
    EXPECT_EQ(sample.size(), whole.size() + 100000 * kUnit1.size());
    EXPECT_LT(source.reads, 20000 + 200000);
  }
}

TEST_F(InsertCaptionSei, CutsALongCaptionIntoAHundredThousandPieces) {
  Bytes caption = atom("cdt2", pairBytes(48 * 100000));
  SampleSource source(kSlice);
  SplicedSampleBytes sample(source, 0, kSlice.size());
  PendingSample record;
  insertCaptionSei(sample, record, caption);
  EXPECT_EQ(sample.size(), kSlice.size() + 100000 * kUnit24.size());
  Bytes end(kUnit24.size() + kSlice.size());
  sample.read(sample.size() - end.size(), end);
  EXPECT_EQ(end, kUnit24 + kSlice);
}

// Attaching, on a group of video samples of one slice each that are 1000 units of 1/30000 s apart.
class AttachCaptionSample : public ::testing::Test {
 protected:
  AttachCaptionSample() : file_(kSlice) {
    for (std::uint64_t i = 0; i < 4; ++i) {
      PendingSample sample;
      sample.decodingTime = i * 1000;
      sample.size = static_cast<std::uint32_t>(kSlice.size());
      pending_.append(sample);
    }
  }

  // The caption is valid until the next one is made.
  std::optional<CaptionSample> caption(std::uint64_t time, std::uint32_t timescale,
                                       const Bytes& pairs, std::uint32_t offset = 0) {
    captionBytes_ = atom("cdt2", pairs);
    return CaptionSample{time, timescale, offset, captionBytes_};
  }

  static Bytes bytesOf(const SortedGroup& group, std::size_t place) {
    const SplicedSampleBytes* sample = group.splicedBytes(place);
    if (sample == nullptr) return {};
    Bytes bytes(norvik::kav::memorySize(sample->size()));
    sample->copyTo(bytes);
    return bytes;
  }

  SampleSource file_;
  Bytes captionBytes_;
  PendingSamples pending_;
  std::vector<std::uint32_t> timescales_{30000, 0, 48000};
};

TEST_F(AttachCaptionSample, TakesTheFirstSampleAtOrAfterTheCaption) {
  SortedGroup group(pending_, 4, timescales_, file_);
  auto due = caption(1001, 30000, hex("8081"));
  attachCaptionSample(group, due);
  EXPECT_FALSE(due.has_value());
  EXPECT_EQ(bytesOf(group, 2), kUnit1 + kSlice);
  EXPECT_EQ(pending_[2].size, kUnit1.size() + kSlice.size());
  EXPECT_EQ(group.splicedBytes(1), nullptr);

  auto exact = caption(100, 3000, hex("8081"));
  attachCaptionSample(group, exact);
  EXPECT_EQ(bytesOf(group, 1), kUnit1 + kSlice);
}

TEST_F(AttachCaptionSample, AddsTheCompositionOffsetOfTheCaption) {
  SortedGroup group(pending_, 4, timescales_, file_);
  auto due = caption(1000, 30000, hex("8081"), 1500);
  attachCaptionSample(group, due);
  EXPECT_EQ(bytesOf(group, 3), kUnit1 + kSlice);
}

TEST_F(AttachCaptionSample, LeavesACaptionAfterEverySampleAlone) {
  SortedGroup group(pending_, 4, timescales_, file_);
  auto late = caption(3001, 30000, hex("8081"));
  attachCaptionSample(group, late);
  ASSERT_TRUE(late.has_value());
  EXPECT_EQ(late->decodingTime, 3001u);
  EXPECT_EQ(Bytes(late->bytes.begin(), late->bytes.end()), atom("cdt2", hex("8081")));
  for (std::size_t i = 0; i < 4; ++i) EXPECT_EQ(group.splicedBytes(i), nullptr);
  for (std::size_t i = 0; i < pending_.size(); ++i) EXPECT_EQ(pending_[i].size, kSlice.size());
}

TEST_F(AttachCaptionSample, LeavesTheCaptionOfAnEmptyGroupAlone) {
  SortedGroup group(pending_, 0, timescales_, file_);
  auto early = caption(0, 30000, hex("8081"));
  attachCaptionSample(group, early);
  EXPECT_TRUE(early.has_value());
}

TEST_F(AttachCaptionSample, PutsTheLaterOfTwoCaptionsFirst) {
  SortedGroup group(pending_, 4, timescales_, file_);
  for (const char* pairs : {"8081", "b0b1"}) {
    auto due = caption(1000, 30000, hex(pairs));
    attachCaptionSample(group, due);
  }
  EXPECT_EQ(bytesOf(group, 1), kUnit25th + kUnit1 + kSlice);
}

TEST_F(AttachCaptionSample, DoesNotAskForTheTrack) {
  PendingSample audio;
  audio.decodingTime = 720;  // shown at 450 units of the video
  audio.slot = 2;
  audio.size = 4;
  pending_.append(audio);
  SortedGroup group(pending_, 5, timescales_, file_);
  auto due = caption(10, 30000, hex("8081"));
  attachCaptionSample(group, due);
  EXPECT_EQ(pending_[4].size, 4 + kUnit1.size());
}

TEST_F(AttachCaptionSample, FillsGaps) {
  pending_[1].size = 0;
  pending_[1].flags = 2;
  SortedGroup group(pending_, 4, timescales_, file_);
  auto due = caption(1000, 30000, hex("8081"));
  attachCaptionSample(group, due);
  EXPECT_EQ(bytesOf(group, 1), kUnit1);
  EXPECT_EQ(pending_[1].size, kUnit1.size());
}

TEST_F(AttachCaptionSample, TakesACaptionWithoutTimescaleForTimeZero) {
  SortedGroup group(pending_, 4, timescales_, file_);
  auto due = caption(0, 0, hex("8081"), 77);
  attachCaptionSample(group, due);
  EXPECT_EQ(bytesOf(group, 0), kUnit1 + kSlice);
}

}  // namespace
}  // namespace quarrypack
