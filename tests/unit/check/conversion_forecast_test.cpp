#include "check/conversion_forecast.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "check/conversion_rule_table.h"
#include "src/caption_sei.h"
#include "src/conversion_pass.h"
#include "tests/support/box_builders.h"
#include "tests/support/box_walk.h"
#include "tests/support/console.h"
#include "tests/support/media_samples.h"
#include "tests/support/memory_stream.h"
#include "tests/support/movie_builder.h"

// Compares the forecast with what the conversion does.
namespace quarrypack::check {
namespace {

using namespace test;

struct Foretold {
  std::vector<HitSamples> hits;
  std::vector<Finding> findings;

  const Finding* find(const Rule& rule) const {
    const auto found =
        std::find_if(findings.begin(), findings.end(),
                     [&rule](const Finding& finding) { return finding.rule == &rule; });
    return found == findings.end() ? nullptr : &*found;
  }
  std::uint64_t count(const Rule& rule) const {
    const Finding* const finding = find(rule);
    return finding == nullptr ? 0 : finding->count;
  }
  std::string detail(const Rule& rule) const {
    const Finding* const finding = find(rule);
    return finding == nullptr ? "no finding" : finding->detail;
  }
  std::string ids() const {
    std::string text;
    for (const Finding& finding : findings) text += std::string(finding.rule->id) + ' ';
    return text;
  }
};

Foretold foretell(const Bytes& movie) {
  sources::FilmFile film(MemoryStream::create(movie));
  Findings findings;
  Foretold result;
  result.hits = forecastConversion(film, findings);
  result.findings = std::move(findings).take();
  return result;
}
Foretold foretell(const MovieBuilder& movie) { return foretell(movie.build()); }

// The conversion itself. Nothing is printed.
BoxWalk converted(const MovieBuilder& movie) {
  const CapturedConsole console;
  nalLengthSize = 4;
  const MemoryStreamPtr input = MemoryStream::create(movie.build());
  const MemoryStreamPtr output = MemoryStream::create();
  EXPECT_TRUE(convertMovie(*input, *output, ""));
  nalLengthSize = 4;
  return BoxWalk(output->bytes());
}

// How many samples of each track, by its id in the input, are not among those of the input.
std::map<std::uint32_t, std::uint64_t> damaged(const MovieBuilder& movie) {
  const BoxWalk output = converted(movie);
  std::map<std::uint32_t, std::uint64_t> counts;
  std::size_t number = 0;
  for (std::size_t i = 0; i < movie.tracks.size(); ++i) {
    if (movie.tracks[i].handler == "clcp") continue;
    const std::vector<Bytes> read = movie.tracks[i].sampleBytes();
    const std::set<Bytes> intact(read.begin(), read.end());
    for (const Bytes& sample : output.track(++number).sampleBytes()) {
      if (!intact.contains(sample)) ++counts[static_cast<std::uint32_t>(i + 1)];
    }
  }
  return counts;
}

std::map<std::uint32_t, std::uint64_t> foretoldHits(const Foretold& foretold) {
  std::map<std::uint32_t, std::uint64_t> counts;
  for (const HitSamples& hit : foretold.hits) counts[hit.trackId] = hit.count;
  return counts;
}

// A film that is converted without loss: the forecast is empty.
MovieBuilder goodFilm() {
  MovieTrack video = videoTrack({.count = 30});
  video.syncTable = true;
  return MovieBuilder({video, captionTrack(3)});
}

TEST(ConversionForecast, HasNothingToSayAboutAGoodFilm) {
  const Foretold foretold = foretell(goodFilm());
  EXPECT_EQ(foretold.ids(), "");
  EXPECT_TRUE(foretold.hits.empty());
}

TEST(ConversionForecast, CountsTheSamplesThatCaptionsDamage) {
  MovieBuilder movie = goodFilm();
  movie.tracks.push_back(soundTrack({.timescale = 30000, .duration = 100}));
  // 300 is after the first picture and meets the fourth sample of the sound.
  movie.tracks[1] = captionTrack({.samples = {cdat(captionPairs(2))}});
  movie.tracks[1].edits = {{6, kEmptyEdit}, {600, 0}};
  const Foretold foretold = foretell(movie);
  ASSERT_EQ(foretold.hits.size(), 1u);
  EXPECT_EQ(foretold.hits[0].trackId, 3u);
  EXPECT_EQ(foretold.hits[0].kind, "sound");
  EXPECT_EQ(foretold.hits[0].times, std::vector<captions::Time>{captions::timeOfUnits(300, 30000)});
  EXPECT_EQ(foretold.detail(kCaptionsInOtherTrack), "track 3 (sound), 1 sample");
  EXPECT_EQ(damaged(movie).at(3), 1u);
}

// Films of all kinds of times, edits and captions.
MovieBuilder randomFilm(std::mt19937& random) {
  const auto any = [&random](std::uint32_t from, std::uint32_t to) {
    return std::uniform_int_distribution<std::uint32_t>(from, to)(random);
  };
  const std::vector<std::uint32_t> rates{600, 1000, 24000, 25000, 30000, 90000};
  const std::uint32_t rate = rates[any(0, 5)];
  MovieTrack video = videoTrack({.count = any(2, 80),
                                 .timescale = rate,
                                 .duration = std::max(1u, rate / any(20, 60)),
                                 .syncEvery = any(1, 30),
                                 .betweenAnchors = any(0, 2)});
  video.syncTable = any(0, 3) > 0;
  MovieTrack sound =
      soundTrack({.count = any(1, 60), .timescale = any(0, 1) == 0 ? 44100u : 48000u});
  std::vector<Bytes> samples;
  for (std::uint32_t i = any(1, 20); i > 0; --i) {
    samples.push_back(cdat(captionPairs(2 * any(0, 40), i)));
  }
  MovieTrack captions =
      captionTrack({.samples = samples, .timescale = rates[any(0, 5)], .duration = any(1, 4000)});
  if (any(0, 2) == 0) video.edits = {{any(100, 2000), any(0, 5000)}};
  if (any(0, 2) == 0) sound.edits = {{any(1, 300), kEmptyEdit}, {any(100, 2000), any(0, 3000)}};
  if (any(0, 3) == 0) captions.edits = {{any(1, 300), kEmptyEdit}, {2000, 0}};
  std::vector<MovieTrack> tracks{video, sound, captions};
  std::shuffle(tracks.begin(), tracks.end(), random);
  return MovieBuilder(tracks);
}

TEST(ConversionForecast, ForetellsTheDamageOfAnyFilm) {
  std::mt19937 random(608);
  std::uint64_t hits = 0;
  for (int i = 0; i < 200; ++i) {
    const MovieBuilder movie = randomFilm(random);
    const Foretold foretold = foretell(movie);
    auto changed = damaged(movie);
    for (std::size_t track = 0; track < movie.tracks.size(); ++track) {
      if (movie.tracks[track].handler == "vide") {
        changed.erase(static_cast<std::uint32_t>(track + 1));
      }
    }
    EXPECT_EQ(foretoldHits(foretold), changed) << "film " << i;
    for (const auto& [id, count] : changed) hits += count;
  }
  EXPECT_GT(hits, 100u);  // else this test would show nothing
}

// The pictures that are shown after the only edit of the output.
std::uint64_t hiddenPictures(const WalkedTrack& video, std::uint32_t movieTimescale) {
  EXPECT_EQ(video.edits.size(), 1u);
  const double end = static_cast<double>(video.edits[0].duration) / movieTimescale;
  std::uint64_t hidden = 0;
  for (const WalkedSample& sample : video.samples) {
    const auto shown = static_cast<double>(sample.decodingTime + sample.compositionOffset);
    if (shown / video.timescale >= end) ++hidden;
  }
  return hidden;
}

TEST(ConversionForecast, ForetellsLastPicturesThatAreHidden) {
  for (const std::size_t between : {0u, 1u, 2u}) {
    MovieBuilder movie = goodFilm();
    movie.timescale = 30000;
    movie.tracks[0] = videoTrack({.count = 31, .syncEvery = 10, .betweenAnchors = between});
    movie.tracks[0].syncTable = true;
    const std::uint64_t hidden = hiddenPictures(converted(movie).track(1), 30000);
    EXPECT_EQ(hidden > 0, between > 0);
    EXPECT_EQ(foretell(movie).count(kLastPicturesHidden), hidden) << between;
  }
}

TEST(ConversionForecast, ForetellsTheDelayOfThePicturesAgainstTheSound) {
  MovieBuilder movie = goodFilm();
  movie.tracks[0] = videoTrack({.count = 31, .syncEvery = 10, .betweenAnchors = 1});
  movie.tracks[0].syncTable = true;
  const std::uint32_t offset = movie.tracks[0].samples[0].compositionOffset;
  ASSERT_EQ(offset, 1001u);
  movie.tracks[0].edits = {{620, offset}};
  EXPECT_EQ(foretell(movie).count(kPictureDelay), 0u);  // there is no sound to compare with
  movie.tracks.push_back(soundTrack());
  EXPECT_EQ(foretell(movie).detail(kPictureDelay), "0.033 s");
  const BoxWalk walk = converted(movie);
  EXPECT_EQ(walk.track(1).edits[0].mediaTime, 0);
  EXPECT_EQ(walk.track(1).samples[0].compositionOffset, offset);
}

TEST(ConversionForecast, ForetellsFirstPicturesThatCannotBeDecoded) {
  MovieBuilder movie = goodFilm();  // with a key picture every 5
  movie.tracks[0].edits = {{500, 2 * 1001}};
  const WalkedTrack video = converted(movie).track(1);
  ASSERT_FALSE(video.samples[0].sync);
  const auto firstSync = std::find_if(video.samples.begin(), video.samples.end(),
                                      [](const WalkedSample& sample) { return sample.sync; });
  EXPECT_EQ(foretell(movie).count(kFirstPicturesLost),
            static_cast<std::uint64_t>(firstSync - video.samples.begin()));
}

TEST(ConversionForecast, ForetellsAFirstEditOfNoLength) {
  MovieBuilder movie = goodFilm();
  movie.tracks.push_back(soundTrack());
  movie.tracks[2].edits = {{60, kEmptyEdit}, {278, 0}};
  EXPECT_EQ(foretell(movie).detail(kFirstEditOfNoLength), "track 3 (sound), 0.100 s");
  EXPECT_EQ(converted(movie).track(2).edits[0].duration, 0u);
}

TEST(ConversionForecast, ForetellsAnEmptyTableOfKeyPictures) {
  MovieBuilder movie = goodFilm();
  movie.tracks[0].syncTable = false;
  EXPECT_EQ(foretell(movie).detail(kNoKeyPictures), "track 1 (video)");
  EXPECT_TRUE(converted(movie).track(1).hasSyncTable);
  EXPECT_TRUE(converted(movie).track(1).syncNumbers.empty());
  movie.tracks[0].syncTable = true;
  for (MovieSample& sample : movie.tracks[0].samples) sample.sync = false;
  EXPECT_EQ(foretell(movie).detail(kNoKeyPictures), "track 1 (video): the table is empty");
}

TEST(ConversionForecast, ForetellsNegativeOffsets) {
  MovieBuilder movie = goodFilm();
  movie.tracks[0].samples[1].compositionOffset = static_cast<std::uint32_t>(-1001);
  EXPECT_EQ(foretell(movie).count(kNegativeOffsets), 1u);
  EXPECT_EQ(converted(movie).track(1).samples[1].compositionOffset, 0xFFFFFC17u);
}

TEST(ConversionForecast, ForetellsCaptionsAfterTheEnd) {
  MovieBuilder movie = goodFilm();
  movie.tracks[1] = captionTrack(
      {.samples = {cdat(captionPairs(2)), cdat(captionPairs(2)), {}}, .duration = 90000});
  const Foretold foretold = foretell(movie);
  EXPECT_EQ(foretold.count(kCaptionsAfterEnd), 1u);  // the empty one is no loss
  EXPECT_EQ(foretold.find(kCaptionsAfterEnd)->first, captions::timeOfUnits(3, 1));
}

TEST(ConversionForecast, ForetellsCaptionsInReverseOrder) {
  MovieBuilder movie = goodFilm();
  movie.tracks[1] = captionTrack(
      {.samples = {cdat(captionPairs(2)), cdat(captionPairs(2)), cdat(captionPairs(2))},
       .duration = 10});
  // The first is due with the first picture, the others go to the second.
  EXPECT_EQ(foretell(movie).count(kCaptionsShareAPicture), 1u);
  movie.tracks[1].samples[2].bytes = cdt2(captionPairs(2));
  EXPECT_EQ(foretell(movie).count(kCaptionsShareAPicture), 0u);
  movie.tracks[1].samples[2].bytes = cdat({0x80, 0x80});
  EXPECT_EQ(foretell(movie).count(kCaptionsShareAPicture), 0u);
}

TEST(ConversionForecast, ForetellsPiecesInReverseOrder) {
  const auto inPieces = [](const Bytes& caption) {
    MovieBuilder movie = goodFilm();
    movie.tracks[1] = captionTrack({.samples = {caption}});
    return foretell(movie).count(kCaptionInPieces);
  };
  EXPECT_EQ(inPieces(cdat(captionPairs(48))), 0u);
  EXPECT_EQ(inPieces(cdat(captionPairs(50))), 1u);
  EXPECT_EQ(inPieces(concat({cdat(captionPairs(40)), cdt2(captionPairs(40))})), 0u);
  EXPECT_EQ(inPieces(concat({cdat(captionPairs(40)), cdat(captionPairs(40))})), 1u);
}

TEST(ConversionForecast, CountsOddAndUnknownAtoms) {
  MovieBuilder movie = goodFilm();
  movie.tracks[1] = captionTrack(
      {.samples = {concat({cdat(captionPairs(3)), captionAtom("abcd", captionPairs(2))}),
                   cdat(captionPairs(5))}});
  const Foretold foretold = foretell(movie);
  EXPECT_EQ(foretold.count(kOddCaptionAtom), 2u);
  EXPECT_EQ(foretold.count(kUnknownCaptionAtom), 1u);
}

TEST(ConversionForecast, ForetellsCaptionTracksThatAreLeftOut) {
  MovieBuilder movie = goodFilm();
  movie.tracks.push_back(captionTrack(2));
  const Foretold foretold = foretell(movie);
  EXPECT_EQ(foretold.count(kSeveralCaptionTracks), 3u);
  EXPECT_EQ(foretold.detail(kSeveralCaptionTracks), "3 samples of other caption tracks");
}

TEST(ConversionForecast, ForetellsCaptionsThatFallIntoAGap) {
  MovieBuilder movie = goodFilm();
  movie.tracks[0].edits = {{120, 0}, {300, kEmptyEdit}, {200, 6 * 1001}};
  movie.tracks[1] = captionTrack({.samples = {{}, cdat(captionPairs(2)), {}}, .duration = 5500});
  const Foretold foretold = foretell(movie);
  EXPECT_EQ(foretold.count(kCaptionsInGap), 1u);
  const std::vector<Bytes> written = converted(movie).track(1).sampleBytes();
  const std::vector<Bytes> read = movie.tracks[0].sampleBytes();
  const auto changed = std::count_if(written.begin(), written.end(), [&](const Bytes& sample) {
    return std::find(read.begin(), read.end(), sample) == read.end();
  });
  EXPECT_EQ(changed, 2);  // of the captions without pairs
}

TEST(ConversionForecast, ForetellsVideoThatIsNotH264) {
  MovieBuilder movie = goodFilm();
  movie.tracks[0].entries = {videoEntry("hvc1", box("hvcC", zeros(23)))};
  EXPECT_EQ(foretell(movie).detail(kVideoIsNotH264), "track 1 (video): 'hvc1'");
}

TEST(ConversionForecast, ForetellsPicturesWithOtherNalLengths) {
  MovieBuilder movie = goodFilm();
  movie.tracks[0].entries = {avcEntry(4), avcEntry(2)};
  EXPECT_EQ(foretell(movie).count(kSeveralNalLengthSizes), 1u);
  movie.tracks[0].entries = {avcEntry(4), avcEntry(4)};
  EXPECT_EQ(foretell(movie).count(kSeveralNalLengthSizes), 0u);
}

TEST(ConversionForecast, ForetellsEncryptedSamples) {
  MovieBuilder movie = goodFilm();
  movie.tracks.push_back(soundTrack());
  movie.tracks[2].entries = {soundEntry("enca", box("sinf", zeros(4)))};
  EXPECT_EQ(foretell(movie).detail(kEncryptedSamples), "track 3 (sound)");
}

TEST(ConversionForecast, ForetellsAnInvalidNalLength) {
  MovieBuilder movie = goodFilm();
  movie.tracks[0].samples[0].bytes = {0xFF, 0, 0, 1, 9};
  EXPECT_EQ(foretell(movie).count(kInvalidNalLength), 1u);
}

TEST(ConversionForecast, ForetellsThatCaptionsComeTwice) {
  MovieBuilder movie = goodFilm();
  const Bytes unit = nal(kSei, {0x04, 0x0E, 0xB5, 0x00, 0x31, 'G', 'A', '9', '4', 0x03, 0xC1, 0xFF,
                                0xFC, 0x94, 0x20, 0xFF, 0x80});
  movie.tracks[0].samples[3].bytes = accessUnit({accessUnitDelimiter(), unit, nal(kSlice, {1, 2})});
  const Foretold foretold = foretell(movie);
  EXPECT_EQ(foretold.count(kCaptionsInsideAlready), 1u);
  EXPECT_EQ(foretold.find(kCaptionsInsideAlready)->first, captions::timeOfUnits(3 * 1001, 30000));
}

TEST(ConversionForecast, SaysThatCaptionsInsideCannotBeRead) {
  MovieBuilder movie = goodFilm();
  for (MovieSample& sample : movie.tracks[0].samples) sample.bytes = Bytes(40, 0x77);
  EXPECT_EQ(foretell(movie).count(kPicturesUnreadable), 1u);
}

TEST(ConversionForecast, CountsDescriptionsWithoutContent) {
  MovieBuilder movie = goodFilm();
  movie.tracks.push_back(otherTrack("text", genericEntry("text"), 2));
  EXPECT_EQ(foretell(movie).count(kDescriptionWithoutContent), 1u);
}

TEST(ConversionForecast, ForetellsWhatIsLostOfTheHeaders) {
  MovieBuilder movie = goodFilm();
  movie.tracks[0].flags = 0xE;
  movie.change("moov/trak[1]/tkhd", [](const Bytes& tkhd) {
    Bytes turned = tkhd;
    constexpr std::size_t kMatrix = 8 + 40;
    const Bytes matrix = concat({u32(0), u32(0x10000), u32(0), u32(0xFFFF0000), u32(0), u32(0)});
    std::copy(matrix.begin(), matrix.end(), turned.begin() + kMatrix);
    return turned;
  });
  movie.addInside("moov/trak[1]", box("tref", box("tmcd", u32(3)), box("clcp", u32(2))));
  movie.addInside("moov/trak[1]", box("tapt", zeros(8)));
  movie.addInside("moov/trak[1]/mdia/minf/stbl", fullBox("cslg", 0, 0, zeros(20)));
  movie.addInside("moov/trak[1]/mdia/minf/stbl", box("free", zeros(20)));
  movie.addInside("moov", box("udta", zeros(40)));
  movie.addInside("moov/trak[2]", box("udta", zeros(40)));  // that of the captions
  const Foretold foretold = foretell(movie);
  EXPECT_EQ(foretold.detail(kDisabledTrackEnabled), "track 1 (video)");
  EXPECT_EQ(foretold.detail(kRotationLost), "track 1 (video), 90 degrees");
  EXPECT_EQ(foretold.detail(kTrackReferencesLost), "track 1 (video): tmcd");
  EXPECT_EQ(foretold.detail(kBoxesLost), "track 1 (video): cslg, tapt");
  EXPECT_EQ(foretold.detail(kMetadataLost), "movie: udta");
  const BoxWalk walk = converted(movie);
  EXPECT_EQ(walk.track(1).flags, 1u);
  for (const char* path :
       {"moov/udta", "moov/trak/tref", "moov/trak/tapt", "moov/trak/mdia/minf/stbl/cslg"}) {
    EXPECT_EQ(walk.find(path), nullptr) << path;
  }
}

TEST(ConversionForecast, ForetellsLostAlternateGroups) {
  MovieBuilder movie = goodFilm();
  movie.tracks.push_back(soundTrack());
  movie.tracks.push_back(soundTrack());
  const auto intoGroup = [](const Bytes& tkhd) {
    Bytes grouped = tkhd;
    grouped[8 + 35] = 2;
    return grouped;
  };
  movie.change("moov/trak[3]/tkhd", intoGroup);
  EXPECT_EQ(foretell(movie).count(kAlternateGroupLost), 0u);  // one track is no alternative
  movie.change("moov/trak[4]/tkhd", intoGroup);
  EXPECT_EQ(foretell(movie).detail(kAlternateGroupLost), "track 3 (sound), track 4 (sound)");
}

TEST(ConversionForecast, ForetellsLostSpeeds) {
  MovieBuilder movie = goodFilm();
  movie.tracks[0].edits = {{600, 0, 0x20000}};
  EXPECT_EQ(foretell(movie).detail(kEditRateLost), "track 1 (video)");
  movie.tracks[0].edits = {{60, kEmptyEdit}, {600, 0}};
  EXPECT_EQ(foretell(movie).count(kEditRateLost), 0u);
}

TEST(ConversionForecast, ForetellsThatATimeCodeEndsAtOnce) {
  MovieBuilder movie = goodFilm();
  movie.tracks.push_back(otherTrack("tmcd", genericEntry("tmcd", zeros(26)), 1));
  movie.tracks[2].samples[0].duration = 600;
  const Foretold foretold = foretell(movie);
  EXPECT_EQ(foretold.detail(kTimeCodeDurationLost), "track 3 (time code), 1.000 s");
  EXPECT_EQ(foretold.count(kLastSampleCut), 0u);
  EXPECT_EQ(converted(movie).track(2).samples[0].duration, 1u);
}

TEST(ConversionForecast, ForetellsThatALastTextIsCut) {
  MovieBuilder movie = goodFilm();
  movie.tracks.push_back(otherTrack("text", genericEntry("text", zeros(40)), 2));
  movie.tracks[2].samples[1].duration = 6000;
  EXPECT_EQ(foretell(movie).detail(kLastSampleCut), "track 3 (text), 10.000 s");
}

TEST(ConversionForecast, ReportsWhatTheConverterPrints) {
  MovieBuilder movie = goodFilm();
  movie.tracks[0].name.clear();
  EXPECT_EQ(foretell(movie).ids(), "track-without-name ");
}

TEST(ConversionForecast, ReportsFragments) {
  MovieBuilder movie = goodFilm();
  movie.splitIntoFragments({10, 1});
  EXPECT_EQ(foretell(movie).ids(), "fragments-lost ");
}

TEST(ConversionForecast, OnlySaysThatAFilmHasNoCaptionTrack) {
  const Foretold foretold = foretell(MovieBuilder({videoTrack(), soundTrack()}));
  EXPECT_EQ(foretold.ids(), "no-caption-track ");
}

TEST(ConversionForecast, OnlySaysThatAFilmHasNoVideo) {
  EXPECT_EQ(foretell(MovieBuilder({captionTrack(2), soundTrack()})).ids(), "no-video ");
}

TEST(ConversionForecast, ForetellsFailures) {
  MovieBuilder movie = goodFilm();
  movie.moovFirst();
  Bytes file = movie.build();
  file.pop_back();
  EXPECT_EQ(foretell(file).ids(), "conversion-fails ");
  movie = goodFilm();
  movie.tracks[0].timescale = 0;
  EXPECT_EQ(foretell(movie).ids(), "conversion-fails ");
}

// 127 gaps fill an edit list.
TEST(ConversionForecast, ForetellsAnEditListThatIsTooLong) {
  const auto withGaps = [](int gaps) {
    MovieBuilder movie = goodFilm();
    movie.tracks[0] = videoTrack({.count = 200});
    movie.tracks[0].syncTable = true;
    movie.tracks[0].edits = std::vector<MovieEdit>{};
    for (int i = 0; i < gaps; ++i) {
      movie.tracks[0].edits->push_back({20, 1001 * i});
      movie.tracks[0].edits->push_back({20, kEmptyEdit});
    }
    movie.tracks[0].edits->push_back({20, 1001 * gaps});
    return movie;
  };
  EXPECT_EQ(foretell(withGaps(127)).count(kConversionFails), 0u);
  converted(withGaps(127));
  EXPECT_EQ(foretell(withGaps(128)).count(kConversionFails), 1u);
  EXPECT_ANY_THROW(converted(withGaps(128)));
}

}  // namespace
}  // namespace quarrypack::check
