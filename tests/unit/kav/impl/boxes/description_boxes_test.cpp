#include "kav/impl/boxes/description_boxes.h"

#include <gtest/gtest.h>

#include <bit>
#include <string>
#include <typeindex>
#include <typeinfo>
#include <vector>

#include "kav/impl/boxes/file_boxes.h"
#include "tests/support/box_builders.h"
#include "tests/support/expect_code.h"
#include "tests/support/film.h"
#include "tests/support/problem_answers.h"

namespace norvik::kav::impl {
namespace {

using namespace quarrypack::test;

constexpr FourCc kVideo = fourCc("vide");
constexpr FourCc kSound = fourCc("soun");
constexpr FourCc kHint = fourCc("hint");
constexpr FourCc kCaptions = fourCc("clcp");

template <class... Entries>
Bytes stsd(std::uint32_t count, const Entries&... entries) {
  return fullBox("stsd", 0, 0, u32(count), entries...);
}

OwnedBox<StsdBox> readStsd(Film& file, FourCc handlerType) {
  OwnedBox<StsdBox> box = file.unread<StsdBox>();
  box->setHandlerType(handlerType);
  box->readContent();
  return box;
}

constexpr Uuid kSomeUuid = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};

Bytes genericEntry(std::string_view type, const Bytes& rest, unsigned reference = 1) {
  return box(type, zeros(6), u16(reference), rest);
}

// Every field that is written back has a value of its own; what is not written back is 0xEE here.
Bytes videoEntry(std::string_view type, const Bytes& headerBytes) {
  return box(type, Bytes(6, 0xEE), u16(0x0102), Bytes(16, 0xEE), u16(640), u16(360),
             u32(0x00486543), u32(0x00487001), Bytes(4, 0xEE), u16(3), Bytes(32, 0xEE), u16(0x0018),
             u16(0xFFFE), headerBytes);
}

Bytes writtenVideoEntry(std::string_view type, const std::string& name, const Bytes& headerBytes) {
  return box(type, zeros(6), u16(0x0102), zeros(16), u16(640), u16(360), u32(0x00486543),
             u32(0x00487001), zeros(4), u16(3), text(name), zeros(32 - name.size()), u16(0x0018),
             u16(0xFFFE), headerBytes);
}

struct Sound {
  unsigned version = 0;
  unsigned revision = 0;
  std::uint32_t vendor = 0;
  unsigned channels = 2;
  unsigned bits = 16;
  unsigned compressionId = 0;
  unsigned packetSize = 0;
  std::uint32_t rate = 44100U << 16;
};

Bytes soundEntry(std::string_view type, const Sound& sound, const Bytes& headerBytes) {
  return box(type, zeros(6), u16(1), u16(sound.version), u16(sound.revision), u32(sound.vendor),
             u16(sound.channels), u16(sound.bits), u16(sound.compressionId), u16(sound.packetSize),
             u32(sound.rate), headerBytes);
}

const Bytes kEsds = fullBox("esds", 0, 0, text("decoder"));
const Bytes kWave =
    box("wave", box("frma", text("mp4a")), box("mp4a", u32(0)), kEsds, u32(8), u32(0));
const Bytes kVersion1Fields = concat({u32(1024), u32(2), u32(4), u32(2)});

Bytes version2Fields(double rate, std::uint32_t channels, std::uint32_t statedLength = 72) {
  return concat({u32(statedLength), u64(std::bit_cast<std::uint64_t>(rate)), u32(channels),
                 u32(0x7F000000), u32(16), u32(12), u32(4), u32(1)});
}

// What a track of a type writes for the single entry that it was read with.
Bytes copied(FourCc handlerType, const Bytes& entry) {
  Film input(stsd(1, entry));
  const OwnedBox<StsdBox> source = readStsd(input, handlerType);
  Film output;
  StsdBox built(handlerType, 1, static_cast<std::uint32_t>(entry.size()), output.stream);
  built.addSampleEntry(handlerType, *source->descriptor(1)->clone());
  built.dropPadding();
  built.write();
  EXPECT_EQ(built.getCurrentSize(), output.bytes().size());
  EXPECT_EQ(Bytes(output.bytes().begin(), output.bytes().begin() + 16),
            concat({u32(output.bytes().size()), text("stsd"), u32(0), u32(1)}));
  return Bytes(output.bytes().begin() + 16, output.bytes().end());
}

Bytes headerBytesOf(const SampleDescriptor& descriptor) {
  return Bytes(descriptor.headerBytes().begin(), descriptor.headerBytes().end());
}

// --- descriptors

// --- reading

TEST(StsdBox, ReadsTheEntryOfACaptionTrackWhole) {
  Film file(stsd(1, genericEntry("c608", {1, 2, 3, 4, 5}, 9)));
  const OwnedBox<StsdBox> box = readStsd(file, kCaptions);
  ASSERT_EQ(box->entryCount(), 1u);
  const SampleDescriptor& descriptor = *box->descriptor(1);
  EXPECT_NE(dynamic_cast<const GenericSampleDescriptor*>(&descriptor), nullptr);
  EXPECT_EQ(descriptor.info().structSize, 24u);
  EXPECT_EQ(descriptor.info().headerLength, 5u);
  EXPECT_EQ(descriptor.info().codecType, fourCc("c608"));
  EXPECT_EQ(descriptor.info().handlerType, kCaptions);
  EXPECT_EQ(descriptor.info().dataReferenceIndex, 9u);
  EXPECT_EQ(headerBytesOf(descriptor), (Bytes{1, 2, 3, 4, 5}));
}

// The kind of an entry comes from the handler of its track, whatever the entry calls itself.
TEST(StsdBox, TakesTheKindOfAnEntryFromTheHandlerOfItsTrack) {
  const auto entryOf = [](FourCc handler) {
    Film file(stsd(1, box("avc1", zeros(100))));
    const OwnedBox<StsdBox> box = readStsd(file, handler);
    const Box& entry = *box->children()[0];
    return std::type_index(typeid(entry));
  };
  EXPECT_EQ(entryOf(kCaptions), typeid(KavSampleEntry));
  EXPECT_EQ(entryOf(fourCc("text")), typeid(KavSampleEntry));
  EXPECT_EQ(entryOf(kVideo), typeid(KavVideoSampleEntry));
  EXPECT_EQ(entryOf(kSound), typeid(KavAudioSampleEntry));
  EXPECT_EQ(entryOf(kHint), typeid(KavZeltSampleEntry));
}

TEST(StsdBox, KeepsTheHeaderAndCountAsItsFixedPart) {
  Film file(stsd(1, genericEntry("c608", {1, 2, 3})));
  const OwnedBox<StsdBox> box = readStsd(file, kCaptions);
  EXPECT_EQ(box->getSize(), 16u);
  EXPECT_EQ(box->getCurrentSize(), 16u + 19u);
  ASSERT_EQ(box->children().size(), 1u);
  EXPECT_EQ(box->children()[0]->start(), 16u);
}

TEST(StsdBox, ReadsAVideoEntry) {
  Film file(stsd(1, videoEntry("avc1", {7, 8})));
  const OwnedBox<StsdBox> box = readStsd(file, kVideo);
  const auto& info = dynamic_cast<const VideoSampleDescriptor&>(*box->descriptor(1)).info();
  EXPECT_EQ(info.structSize, sizeof(NorvikKavVideoSampleDescInfo));
  EXPECT_EQ(info.codecType, fourCc("avc1"));
  EXPECT_EQ(info.handlerType, kVideo);
  EXPECT_EQ(info.dataReferenceIndex, 0x0102u);
  EXPECT_EQ(info.width, 640);
  EXPECT_EQ(info.height, 360);
  EXPECT_FLOAT_EQ(info.horizontalResolution, 72.39555F);
  EXPECT_FLOAT_EQ(info.verticalResolution, 72.437515F);
  EXPECT_EQ(info.storedVerticalResolution, 0x00487001u);
  EXPECT_EQ(info.frameCount, 3);
  EXPECT_EQ(info.depth, 24);
  EXPECT_EQ(info.preDefined, 0xFFFE);
  EXPECT_EQ(headerBytesOf(*box->descriptor(1)), (Bytes{7, 8}));
}

TEST(StsdBox, ReadsASoundEntry) {
  const Sound sound{.channels = 6, .bits = 24, .rate = 48000U << 16};
  Film file(stsd(1, soundEntry("mp4a", sound, kEsds)));
  const OwnedBox<StsdBox> box = readStsd(file, kSound);
  const auto& info = dynamic_cast<const AudioSampleDescriptor&>(*box->descriptor(1)).info();
  EXPECT_EQ(info.structSize, sizeof(NorvikKavAudioSampleDescInfo));
  EXPECT_EQ(info.handlerType, kSound);
  EXPECT_EQ(info.channelCount, 6);
  EXPECT_EQ(info.sampleSize, 24);
  EXPECT_FLOAT_EQ(info.sampleRate, 48000);
  EXPECT_EQ(headerBytesOf(*box->descriptor(1)), kEsds);
}

TEST(StsdBox, CountsTheFieldsOfASoundVersionAmongTheHeaderBytes) {
  Film file(stsd(1, soundEntry("mp4a", {.version = 1}, concat({kVersion1Fields, kWave}))));
  const OwnedBox<StsdBox> box = readStsd(file, kSound);
  EXPECT_EQ(headerBytesOf(*box->descriptor(1)), concat({kVersion1Fields, kWave}));
}

TEST(StsdBox, ReadsTheEntryOfAHintTrack) {
  Film file(stsd(1, genericEntry("rtp ", {1, 2})));
  const OwnedBox<StsdBox> box = readStsd(file, kHint);
  EXPECT_NE(dynamic_cast<KavZeltSampleEntry*>(box->children()[0].get()), nullptr);
  EXPECT_NE(dynamic_cast<const ZeltSampleDescriptor*>(box->descriptor(1)), nullptr);
  EXPECT_EQ(headerBytesOf(*box->descriptor(1)), (Bytes{1, 2}));
}

TEST(StsdBox, SkipsPaddingAmongTheEntriesAndDoesNotCountIt) {
  Film file(stsd(2, box("free", zeros(3)), genericEntry("aaaa", {1}), box("skip"),
                 genericEntry("bbbb", {2})));
  const OwnedBox<StsdBox> box = readStsd(file, kCaptions);
  ASSERT_EQ(box->entryCount(), 2u);
  EXPECT_EQ(box->descriptor(1)->codecType(), fourCc("aaaa"));
  EXPECT_EQ(box->descriptor(2)->codecType(), fourCc("bbbb"));
}

TEST(StsdBox, ReadsNoMoreEntriesThanItCounts) {
  Film file(stsd(1, genericEntry("aaaa", {1}), genericEntry("bbbb", {2})));
  EXPECT_EQ(readStsd(file, kCaptions)->entryCount(), 1u);
}

TEST(StsdBox, ReadsTheEntriesThatAreThereWhenItCountsMore) {
  Film file(stsd(100000000, genericEntry("aaaa", {1}), zeros(7)));
  EXPECT_EQ(readStsd(file, kCaptions)->entryCount(), 1u);
}

TEST(StsdBox, KeepsTheEntriesBeforeOneThatOverrunsIt) {
  const Bytes overrun = claimingSize(18, genericEntry("bbbb", {2}));
  Film file(concat({stsd(2, genericEntry("aaaa", {1}), overrun), box("free", zeros(100))}));
  const OwnedBox<StsdBox> box = readStsd(file, kCaptions);
  ASSERT_EQ(box->entryCount(), 1u);
  EXPECT_EQ(box->descriptor(1)->codecType(), fourCc("aaaa"));
  EXPECT_EQ(file.stream.tell(), box->end());
}

TEST(StsdBox, AsksTheHandlerAboutAnEntryThatOverrunsIt) {
  Film file(
      concat({stsd(1, claimingSize(18, genericEntry("bbbb", {2}))), box("free", zeros(100))}));
  ProblemAnswers answers{0};
  file.stream.setProblemHandler(answers.handler());
  EXPECT_CODE(stoppedByHandler, readStsd(file, kCaptions));
  EXPECT_EQ(answers.asked, std::vector<Problem>{Problem::childPastParent});
}

TEST(StsdBox, AsksTheHandlerAboutStrayBytesInPlaceOfAnEntry) {
  for (const std::size_t stray : {1u, 7u}) {
    const Bytes bytes =
        concat({stsd(5, genericEntry("aaaa", {1}), zeros(stray)), box("free", zeros(100))});
    for (const int answer : {0, 1}) {
      Film file(bytes);
      ProblemAnswers answers{answer};
      file.stream.setProblemHandler(answers.handler());
      if (answer == 0) {
        EXPECT_CODE(stoppedByHandler, readStsd(file, kCaptions)) << stray;
      } else {
        EXPECT_EQ(readStsd(file, kCaptions)->entryCount(), 1u) << stray;
      }
      EXPECT_EQ(answers.asked, std::vector<Problem>{Problem::trailingBytes}) << stray;
    }
  }
}

TEST(StsdBox, EndsQuietlyWithItsLastEntry) {
  for (const std::uint32_t count : {1u, 5u}) {
    const Bytes entries =
        count == 1 ? concat({genericEntry("aaaa", {1}), zeros(3)}) : genericEntry("aaaa", {1});
    Film file(concat({stsd(count, entries), box("free", zeros(100))}));
    ProblemAnswers answers{0};
    file.stream.setProblemHandler(answers.handler());
    EXPECT_EQ(readStsd(file, kCaptions)->entryCount(), 1u);
    EXPECT_TRUE(answers.asked.empty());
  }
}

TEST(StsdBox, StopsAtASizeThatLeadsNowhere) {
  for (const std::uint32_t size : {2u, 7u}) {
    Film file(stsd(2, claimingSize(size, genericEntry("aaaa", {1}))));
    EXPECT_EQ(readStsd(file, kCaptions)->entryCount(), 0u);
  }
}

TEST(StsdBox, RefusesEntriesShorterThanTheirFields) {
  const struct {
    FourCc handler;
    std::size_t shortest;
  } cases[] = {{kVideo, 86}, {kSound, 36}, {kHint, 16}, {kCaptions, 16}};
  for (const auto& entry : cases) {
    const FourCc handler = entry.handler;
    const std::size_t shortest = entry.shortest;
    Film tooShort(stsd(1, box("aaaa", zeros(shortest - 9))));
    EXPECT_CODE(truncatedBox, readStsd(tooShort, handler)) << shortest;
    Film exact(stsd(1, box("aaaa", zeros(shortest - 8))));
    const OwnedBox<StsdBox> box = readStsd(exact, handler);
    ASSERT_EQ(box->entryCount(), 1u) << shortest;
    EXPECT_EQ(box->descriptor(1)->info().headerLength, 0u) << shortest;
  }
}

TEST(StsdBox, NeedsACount) {
  Film file(fullBox("stsd", 0, 0, zeros(3)));
  EXPECT_CODE(truncatedBox, readStsd(file, kVideo));
}

TEST(StsdBox, RefusesAnImplausibleCount) {
  Film most(stsd(100000000));
  EXPECT_EQ(readStsd(most, kVideo)->entryCount(), 0u);
  Film more(stsd(100000001));
  EXPECT_CODE(implausibleSampleCount, readStsd(more, kVideo));
}

TEST(StsdBox, LeavesEntriesUnreadOnRequest) {
  Film file(stsd(1, genericEntry("aaaa", {1})));
  const OwnedBox<StsdBox> box = file.unread<StsdBox>();
  box->leaveEntriesUnread();
  box->readContent();
  EXPECT_EQ(box->entryCount(), 0u);
  EXPECT_EQ(box->getSize(), 16u);

  Film inconsistent(stsd(2, genericEntry("aaaa", {1})));
  const OwnedBox<StsdBox> refused = inconsistent.unread<StsdBox>();
  refused->leaveEntriesUnread();
  EXPECT_CODE(truncatedBox, refused->readContent());
}

TEST(StsdBox, FindsDescriptionsByNumbersFromOne) {
  Film file(stsd(1, genericEntry("aaaa", {1})));
  const OwnedBox<StsdBox> box = readStsd(file, kCaptions);
  EXPECT_EQ(box->descriptor(0), nullptr);
  EXPECT_NE(box->descriptor(1), nullptr);
  EXPECT_EQ(box->descriptor(2), nullptr);
}

// --- copying

TEST(StsdBox, CopiesGenericEntriesByteForByte) {
  for (const FourCc handler : {kCaptions, kHint, fourCc("text"), fourCc("tmcd"), fourCc("meta")}) {
    const Bytes entry = genericEntry("tmcd", concat({u32(0), u32(7), text("more")}), 3);
    EXPECT_EQ(copied(handler, entry), entry);
  }
  const Bytes empty = genericEntry("c608", {});
  EXPECT_EQ(copied(kCaptions, empty), empty);
}

TEST(StsdBox, ReadsAnEntryWithAUuidAfterItsWholeHeader) {
  const Bytes entry = uuidBox(kSomeUuid, concat({zeros(6), u16(3), text("rest")}));
  Film file(stsd(1, entry));
  const OwnedBox<StsdBox> box = readStsd(file, kCaptions);
  ASSERT_EQ(box->entryCount(), 1u);
  EXPECT_EQ(box->descriptor(1)->codecType(), fourCc("uuid"));
  EXPECT_EQ(box->descriptor(1)->info().dataReferenceIndex, 3u);
  EXPECT_EQ(headerBytesOf(*box->descriptor(1)), text("rest"));
}

TEST(StsdBox, CopiesAnEntryWithItsUuid) {
  for (const FourCc handler : {kCaptions, kVideo, kSound}) {
    const Bytes entry = uuidBox(kSomeUuid, concat({zeros(6), u16(1), zeros(100)}));
    EXPECT_EQ(copied(handler, entry), entry);
  }
}

TEST(StsdBox, FailsWhereTheHeaderOfAnEntryIsWrittenOnlyInPart) {
  Film source(stsd(1, uuidBox(kSomeUuid, concat({zeros(6), u16(1)}))));
  const OwnedBox<StsdBox> box = readStsd(source, kCaptions);
  for (const std::size_t write : {1u, 2u}) {
    Film file;
    const auto entry = makeBox<KavSampleEntry>(box->descriptor(1)->clone(), file.stream);
    file.memory->injectFault(write, MemoryStream::Fault::isShort);
    EXPECT_CODE(ioFailed, entry->writeHeader()) << "write " << write;
    EXPECT_TRUE(file.memory->faultWasMet());
  }
}

TEST(StsdBox, TakesTheCodingOfAnEntryInUuidForm) {
  const Bytes entry = genericEntry("c608", {1, 2});
  EXPECT_EQ(copied(kCaptions, uuidForm(entry)), entry);
  const Bytes picture = videoEntry("avc1", {});
  EXPECT_EQ(copied(kVideo, uuidForm(picture)), copied(kVideo, picture));
}

TEST(StsdBox, WritesLargeFormEntriesInTheOrdinaryForm) {
  const Bytes entry = genericEntry("c608", {1, 2});
  EXPECT_EQ(copied(kCaptions, largeForm(entry)), entry);
}

TEST(StsdBox, WritesVideoEntriesWithTheNameOfTheirCoding) {
  const struct {
    std::string_view type;
    std::string name;
  } cases[] = {
      {"avc1",
       "\x0A"
       "AVC Coding"},
      {"H264",
       "\x0A"
       "AVC Coding"},
      {"h264",
       "\x0A"
       "AVC Coding"},
      {"VP6A",
       "\x0A"
       "VP6 Coding"},
      {"VP6F",
       "\x0A"
       "VP6 Coding"},
      {"hvc1", ""},
  };
  for (const auto& [type, name] : cases) {
    EXPECT_EQ(copied(kVideo, videoEntry(type, boxAround("avcC", {1, 2, 3}))),
              writtenVideoEntry(type, name, boxAround("avcC", {1, 2, 3})))
        << type;
  }
}

TEST(StsdBox, WritesANumberThatWasSetInPlaceOfTheStoredOne) {
  NorvikKavVideoSampleDescInfo info;
  info.structSize = sizeof(info);
  info.codecType = fourCc("avc1");
  info.handlerType = kVideo;
  info.horizontalResolution = 96.5F;
  Film file;
  StsdBox box(kVideo, 1, 0, file.stream);
  box.addSampleEntry(kVideo, *makeDescriptor(info, {}));
  box.write();
  EXPECT_EQ(Bytes(file.bytes().begin() + 16 + 36, file.bytes().begin() + 16 + 44),
            concat({u32(0x00608000), u32(0x00480000)}));
}

TEST(StsdBox, CopiesSoundEntriesOfVersion0) {
  const Bytes aac = soundEntry("mp4a", {}, kEsds);
  EXPECT_EQ(copied(kSound, aac), aac);
  // A classic rate that no float holds.
  const Bytes classic = soundEntry("raw ", {.bits = 8, .rate = 0x56EE8BA3}, {});
  EXPECT_EQ(copied(kSound, classic), classic);
}

TEST(StsdBox, CopiesSoundInQuickTimeCodingsByteForByte) {
  const Sound version1{.version = 1,
                       .revision = 2,
                       .vendor = 0x6170706C,
                       .channels = 6,
                       .bits = 24,
                       .compressionId = 0xFFFE,
                       .packetSize = 3};
  const Bytes first =
      soundEntry("sowt", version1, concat({kVersion1Fields, boxAround("chan", {1})}));
  EXPECT_EQ(copied(kSound, first), first);
  const Sound version2{.version = 2, .channels = 3, .compressionId = 0xFFFE, .rate = 0x10000};
  const Bytes second = soundEntry("lpcm", version2, version2Fields(96000, 8));
  EXPECT_EQ(copied(kSound, second), second);
  const Bytes third = soundEntry("mp4a", {.version = 3}, concat({kVersion1Fields, kWave}));
  EXPECT_EQ(copied(kSound, third), third);
}

TEST(StsdBox, WritesAacOfVersion1AsVersion0) {
  const Sound version1{.version = 1,
                       .revision = 2,
                       .vendor = 0x6170706C,
                       .channels = 1,
                       .bits = 8,
                       .compressionId = 0xFFFE,
                       .packetSize = 3,
                       .rate = 22050U << 16};
  const Bytes expected = soundEntry("mp4a", {.channels = 1, .rate = 22050U << 16}, kEsds);
  EXPECT_EQ(copied(kSound, soundEntry("mp4a", version1, concat({kVersion1Fields, kWave}))),
            expected);
  EXPECT_EQ(copied(kSound, soundEntry("mp4a", version1, concat({kVersion1Fields, kEsds}))),
            expected);
}

TEST(StsdBox, KeepsTheOtherBoxesOfAacAfterItsConfiguration) {
  const Bytes chan = boxAround("chan", {1, 2, 3});
  const Bytes entry =
      soundEntry("mp4a", {.version = 1}, concat({kVersion1Fields, chan, kWave, zeros(4)}));
  EXPECT_EQ(copied(kSound, entry), soundEntry("mp4a", {}, concat({kEsds, chan})));
}

TEST(StsdBox, TakesRateAndChannelsOfAacOfVersion2FromItsExtension) {
  const auto written = [](const Bytes& fields) {
    const Sound version2{.version = 2, .channels = 3, .compressionId = 0xFFFE, .rate = 0x10000};
    return copied(kSound, soundEntry("mp4a", version2, concat({fields, kWave})));
  };
  EXPECT_EQ(written(version2Fields(48000, 6)),
            soundEntry("mp4a", {.channels = 6, .rate = 48000U << 16}, kEsds));
  EXPECT_EQ(written(version2Fields(11025.5, 1)),
            soundEntry("mp4a", {.channels = 1, .rate = 0x2B118000}, kEsds));
  EXPECT_EQ(written(concat({version2Fields(48000, 2, 76), u32(99)})),
            soundEntry("mp4a", {.rate = 48000U << 16}, kEsds));
  for (const double impossible : {96000.0, 65536.0, 0.0, -1.0, 1e300}) {
    EXPECT_EQ(written(version2Fields(impossible, 2)), soundEntry("mp4a", {.rate = 0}, kEsds));
  }
  const double notANumber = std::bit_cast<double>(std::uint64_t{0x7FF8000000000000});
  EXPECT_EQ(written(version2Fields(notANumber, 0x12345)),
            soundEntry("mp4a", {.channels = 0xFFFF, .rate = 0}, kEsds));
}

TEST(StsdBox, CopiesAacWithoutAConfigurationByteForByte) {
  const Bytes entries[] = {
      soundEntry("mp4a", {.version = 1}, kVersion1Fields),
      soundEntry("mp4a", {.version = 1}, Bytes(kVersion1Fields.begin(), kVersion1Fields.end() - 1)),
      soundEntry("mp4a", {.version = 1}, concat({kVersion1Fields, box("wave", u32(0))})),
      soundEntry("mp4a", {.version = 1}, concat({kVersion1Fields, claimingSize(900, kWave)})),
      soundEntry("mp4a", {.version = 1}, concat({kVersion1Fields, claimingSize(7, kWave)})),
      soundEntry("mp4a", {.version = 2}, zeros(35)),
      soundEntry("mp4a", {.version = 2}, concat({version2Fields(48000, 2, 71), kWave})),
      soundEntry("mp4a", {.version = 2}, concat({version2Fields(48000, 2, 0x80000000), kWave})),
  };
  for (const Bytes& entry : entries) EXPECT_EQ(copied(kSound, entry), entry);
}

// --- building

TEST(StsdBox, ReservesRoomByTheKindOfTrack) {
  const struct {
    FourCc handler;
    std::uint64_t room;
  } cases[] = {
      {kVideo, (10 + 86) * 3}, {kSound, (10 + 36) * 3},    {fourCc("meta"), (10 + 16) * 3},
      {kHint, (10 + 16) * 3},  {kCaptions, (10 + 16) * 3},
  };
  for (const auto& [handler, room] : cases) {
    Film file;
    const StsdBox box(handler, 3, 10, file.stream);
    EXPECT_EQ(box.roomLeft(), room);
    EXPECT_EQ(box.getSize(), 16u);
    EXPECT_EQ(box.getCurrentSize(), 16 + room);
  }
  Film file;
  const StsdBox none(kVideo, 0, 10, file.stream);
  EXPECT_TRUE(none.children().empty());
  EXPECT_CODE(implausibleSampleCount, StsdBox(kVideo, 100000001, 0, file.stream));
}

TEST(StsdBox, WritesEntriesBeforeItsPadding) {
  const Bytes bytes = {1, 2, 3, 4};
  Film file;
  StsdBox box(kCaptions, 2, 6, file.stream);
  GenericSampleDescriptor descriptor(4, fourCc("c608"), kCaptions, bytes.data());
  descriptor.setDataReferenceIndex(1);
  box.addSampleEntry(kCaptions, descriptor);
  EXPECT_EQ(box.getCurrentSize(), 60u);
  box.write();
  EXPECT_EQ(Bytes(file.bytes().begin(), file.bytes().begin() + 44),
            concat({u32(60), text("stsd"), u32(0), u32(1), genericEntry("c608", bytes), u32(24),
                    text("skip")}));

  box.addSampleEntry(kCaptions, descriptor);
  EXPECT_EQ(box.getCurrentSize(), 60u);
  box.write();
  EXPECT_EQ(Bytes(file.bytes().begin(), file.bytes().begin() + 56),
            concat({u32(60), text("stsd"), u32(0), u32(2), genericEntry("c608", bytes),
                    genericEntry("c608", bytes)}));
  EXPECT_EQ(box.entryCount(), 2u);
  EXPECT_EQ(box.descriptor(2)->codecType(), fourCc("c608"));
}

TEST(StsdBox, GrowsByAnEntryThatFindsTooLittleRoom) {
  const Bytes bytes = {1, 2, 3, 4};
  GenericSampleDescriptor descriptor(4, fourCc("c608"), kCaptions, bytes.data());
  descriptor.setDataReferenceIndex(1);
  const Bytes entry = genericEntry("c608", bytes);
  for (const std::uint32_t announced : {0u, 1u, 2u}) {
    Film file;
    StsdBox box(kCaptions, announced, 3, file.stream);
    for (int i = 0; i < 3; ++i) box.addSampleEntry(kCaptions, descriptor);
    EXPECT_EQ(box.getCurrentSize(), 76u);
    box.write();
    EXPECT_EQ(file.bytes(), stsd(3, entry, entry, entry)) << announced;
  }
}

TEST(StsdBox, RefusesADescriptorOfAnotherKindThanTheTrack) {
  Film file;
  StsdBox box(kVideo, 4, 0, file.stream);
  const GenericSampleDescriptor generic(0, fourCc("avc1"), kVideo, nullptr);
  const VideoSampleDescriptor video(0, fourCc("avc1"), kVideo, nullptr);
  for (const FourCc type : {kVideo, kSound, kHint, fourCc("zelt")}) {
    EXPECT_CODE(unsupportedTrackType, box.addSampleEntry(type, generic));
  }
  EXPECT_CODE(unsupportedTrackType, box.addSampleEntry(kSound, video));
  EXPECT_CODE(unsupportedTrackType, box.addSampleEntry(kCaptions, video));
  EXPECT_EQ(box.entryCount(), 0u);
}

TEST(StsdBox, RefusesASecondEntryOnAZeltTrack) {
  const ZeltSampleDescriptor zelt(0, fourCc("zelt"), kHint, nullptr);
  for (const FourCc type : {fourCc("zelt"), kHint}) {
    Film file;
    StsdBox box(kHint, 4, 0, file.stream);
    box.addSampleEntry(type, zelt);
    EXPECT_CODE(secondZeltEntry, box.addSampleEntry(type, zelt));
    EXPECT_EQ(box.entryCount(), 1u);
  }
  const ZeltSampleDescriptor rtp(0, fourCc("rtp "), kHint, nullptr);
  Film file;
  StsdBox box(kHint, 2, 0, file.stream);
  box.addSampleEntry(kHint, rtp);
  box.addSampleEntry(kHint, rtp);
  EXPECT_EQ(box.entryCount(), 2u);
}

}  // namespace
}  // namespace norvik::kav::impl
