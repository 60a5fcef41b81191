#include "kav/impl/reading/doc_iterator.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "tests/unit/kav/impl/fragment_fixtures.h"
#include "tests/unit/kav/impl/sample_columns.h"

namespace norvik::kav::impl {
namespace {

// A track as a list of times.
struct Listed {
  std::uint32_t timescale = 1000;
  Column times;
};

class ListedTrack final : public SampleIterator {
 public:
  ListedTrack(Listed listed, std::uint32_t trackId) : listed_(std::move(listed)), id_(trackId) {}

  bool hasNext() override { return next_ < listed_.times.size(); }
  bool take(Sample& sample) override {
    if (!hasNext()) return false;
    sample = {};
    sample.info.decodingTime = listed_.times[next_++];
    sample.info.timescale = listed_.timescale;
    sample.info.trackId = id_;
    return true;
  }

 private:
  Listed listed_;
  std::uint32_t id_;
  std::size_t next_ = 0;
};

Samples merged(const std::vector<Listed>& tracks) {
  std::vector<std::unique_ptr<SampleIterator>> iterators;
  for (const Listed& track : tracks) {
    iterators.push_back(
        std::make_unique<ListedTrack>(track, static_cast<std::uint32_t>(iterators.size() + 1)));
  }
  DocIterator iterator(std::move(iterators));
  return drain(iterator);
}

TEST(DocIterator, PutsTheTrackThatIsListedFirstFirstAtEqualTimes) {
  EXPECT_EQ(trackIdsOf(merged({{1000, {1000}}, {90000, {90000}}})), (Column{1, 2}));
  EXPECT_EQ(trackIdsOf(merged({{90000, {90000}}, {1000, {1000}}})), (Column{1, 2}));
}

TEST(DocIterator, PutsTheEarlierSampleFirst) {
  EXPECT_EQ(trackIdsOf(merged({{1000, {1000}}, {90000, {89910}}})), (Column{2, 1}));
  EXPECT_EQ(trackIdsOf(merged({{1000, {1000}}, {90000, {89999}}})), (Column{2, 1}));
}

TEST(DocIterator, MergesTheTracksOfAFileByTheirTimes) {
  const Film equal(MovieBuilder({countingTrack(3, 1000, 1000), countingTrack(3, 90000, 90000)}),
                   ReaderOptions{});
  DocIterator first(createTrackIterators(equal.reader().records(), 600, {}));
  EXPECT_EQ(trackIdsOf(drain(first)), (Column{1, 2, 1, 2, 1, 2}));
  const Film earlier(MovieBuilder({countingTrack(3, 1000, 1000), countingTrack(3, 90000, 89910)}),
                     ReaderOptions{});
  DocIterator second(createTrackIterators(earlier.reader().records(), 600, {}));
  EXPECT_EQ(trackIdsOf(drain(second)), (Column{1, 2, 2, 1, 2, 1}));
}

TEST(DocIterator, EndsWithoutTracksOrSamples) {
  EXPECT_TRUE(merged({}).empty());
  EXPECT_TRUE(merged({{1000, {}}, {1000, {}}}).empty());
  EXPECT_TRUE(merged(std::vector<Listed>(17)).empty());
}

// A track that has one sample and breaks behind it.
class BrokenTrack final : public SampleIterator {
 public:
  bool hasNext() override { return true; }
  bool take(Sample& sample) override {
    if (std::exchange(isBroken_, true)) throw Exception(ErrorCode::badChunkRun);
    sample = {};
    sample.info.timescale = 1000;
    return true;
  }

 private:
  bool isBroken_ = false;
};

TEST(DocIterator, GoesOnWithoutATrackThatFails) {
  for (const std::uint32_t others : {1u, 20u}) {
    std::vector<std::unique_ptr<SampleIterator>> tracks;
    tracks.push_back(std::make_unique<BrokenTrack>());
    for (std::uint32_t id = 1; id <= others; ++id) {
      tracks.push_back(std::make_unique<ListedTrack>(Listed{1000, {id}}, id));
    }
    DocIterator iterator(std::move(tracks));
    EXPECT_CODE(badChunkRun, iterator.next());
    ASSERT_TRUE(iterator.hasNext());
    EXPECT_EQ(trackIdsOf(drain(iterator)).size(), others);
  }
}

TEST(DocIterator, PassesTracksWithoutSamples) {
  EXPECT_EQ(trackIdsOf(merged({{1000, {}}, {1000, {5, 6}}, {1000, {}}, {1000, {5}}})),
            (Column{2, 4, 2}));
}

TEST(DocIterator, KeepsTheOrderOfTracksAmongManyAtEqualTimes) {
  for (const std::size_t count : {16u, 17u, 33u}) {
    std::vector<Listed> tracks(count, Listed{1000, {0, 40}});
    for (std::size_t i = 0; i < count; i += 2) tracks[i] = {500, {0, 20}};
    Column expected;
    for (int round = 0; round < 2; ++round) {
      for (std::size_t i = 1; i <= count; ++i) expected.push_back(i);
    }
    EXPECT_EQ(trackIdsOf(merged(tracks)), expected) << count;
  }
}

// The rule, told as simply as it can be.
Column mergedByTheRule(const std::vector<Listed>& tracks) {
  std::vector<std::size_t> heads(tracks.size());
  Column ids;
  for (;;) {
    std::size_t best = tracks.size();
    for (std::size_t i = 0; i < tracks.size(); ++i) {
      if (heads[i] == tracks[i].times.size()) continue;
      if (best == tracks.size() || tracks[i].times[heads[i]] * tracks[best].timescale <
                                       tracks[best].times[heads[best]] * tracks[i].timescale) {
        best = i;
      }
    }
    if (best == tracks.size()) return ids;
    ++heads[best];
    ids.push_back(best + 1);
  }
}

TEST(DocIterator, FollowsTheRuleForAnyNumberOfTracks) {
  std::uint32_t state = 7;
  const auto next = [&](std::uint32_t below) {
    state = state * 1664525 + 1013904223;
    return (state >> 8) % below;
  };
  const std::uint32_t timescales[] = {1000, 90000, 44100, 30000, 600};
  for (const std::size_t count : {1u, 2u, 5u, 15u, 16u, 17u, 18u, 31u, 32u, 33u, 64u, 100u}) {
    std::vector<Listed> tracks(count);
    for (Listed& track : tracks) {
      track.timescale = timescales[next(5)];
      std::uint64_t time = next(3) * track.timescale / 100;
      for (std::uint32_t i = next(20); i > 0; --i) {
        track.times.push_back(time);
        time += next(4) * (track.timescale / 100);
      }
    }
    EXPECT_EQ(trackIdsOf(merged(tracks)), mergedByTheRule(tracks)) << count;
  }
}

// Times by track: what createTrackIterators makes of a file.
std::vector<Column> timesByTrack(const MovieBuilder& movie, const SampleOptions& options = {}) {
  const Film opened(movie, ReaderOptions{});
  std::vector<Column> times;
  for (const auto& iterator :
       createTrackIterators(opened.reader().records(), movie.timescale, options)) {
    times.push_back(timesOf(drain(*iterator)));
  }
  return times;
}

TEST(TrackIterators, ApplyEditListsUnlessToldNotTo) {
  MovieBuilder movie({countingTrack(3)});
  movie.timescale = 100;
  movie.tracks[0].edits = {{5, kEmptyEdit}, {2, 10}};
  EXPECT_EQ(timesByTrack(movie), (std::vector<Column>{{0, 50, 60}}));
  SampleOptions options;
  options.applyEdits = false;
  EXPECT_EQ(timesByTrack(movie, options), (std::vector<Column>{{0, 10, 20}}));
}

TEST(TrackIterators, KeepToTheRequestedRange) {
  MovieBuilder movie({countingTrack(5), countingTrack(5, 500)});
  movie.timescale = 100;
  movie.tracks.push_back(countingTrack(5));
  movie.tracks[2].edits = {{1, kEmptyEdit}, {0, 0}};
  SampleOptions options;
  options.from = {2, 100};
  options.to = {4, 100};
  EXPECT_EQ(timesByTrack(movie, options), (std::vector<Column>{{20, 30}, {10}, {20, 30}}));
}

TEST(TrackIterators, HandTheContextOn) {
  const Film opened(MovieBuilder({countingTrack(1)}), ReaderOptions{});
  SampleOptions options;
  options.context = 12;
  const auto iterators = createTrackIterators(opened.reader().records(), 600, options);
  EXPECT_EQ(iterators[0]->next()->context, 12u);
}

Bytes tfdt(std::uint64_t time) { return fullBox("tfdt", 1, 0, u64(time)); }

// What createTrackIterators makes of two tracks in thousandths and five hundredths, whose samples
// last 10 units, and of their fragments.
std::vector<Column> timesOfTwo(const Bytes& fragments, std::size_t samplesInTables = 0) {
  const FragmentedMovie movie({countingTrack(samplesInTables, 1000), countingTrack(0, 500)},
                              concat({trex(1), trex(2)}), fragments);
  std::vector<Column> times;
  for (const auto& iterator : createTrackIterators(movie.opened.reader().records(), 600, {})) {
    times.push_back(timesOf(drain(*iterator)));
  }
  return times;
}

TEST(TrackIterators, BeginAtTheEarliestDecodingTimeOfTheFirstFragments) {
  EXPECT_EQ(timesOfTwo(concat(
                {moof(1, traf(tfhd(1), tfdt(7000), trun(2)), traf(tfhd(2), tfdt(3510), trun(2))),
                 moof(2, traf(tfhd(1), tfdt(7500), trun(1)), traf(tfhd(2), trun(1)))})),
            (std::vector<Column>{{0, 10, 500}, {10, 20, 30}}));
  // The second track begins earlier, at 6.98 s, and only in a later fragment.
  EXPECT_EQ(timesOfTwo(concat({moof(1, traf(tfhd(1), tfdt(7000), trun(2))),
                               moof(2, traf(tfhd(2), tfdt(3490), trun(1)))})),
            (std::vector<Column>{{20, 30}, {0}}));
}

TEST(TrackIterators, BeginAtTheFirstFragmentWhereOneTrackHasNone) {
  EXPECT_EQ(timesOfTwo(moof(1, traf(tfhd(2), tfdt(3500), trun(2)))),
            (std::vector<Column>{{}, {0, 10}}));
}

TEST(TrackIterators, BeginAtZeroWhereATrackDoes) {
  // A first fragment without a time begins at 0, and so do samples in the movie itself.
  EXPECT_EQ(timesOfTwo(moof(1, traf(tfhd(1), trun(1)), traf(tfhd(2), tfdt(3500), trun(1)))),
            (std::vector<Column>{{0}, {3500}}));
  EXPECT_EQ(timesOfTwo(
                moof(1, traf(tfhd(1), tfdt(7000), trun(1)), traf(tfhd(2), tfdt(3500), trun(1))), 1),
            (std::vector<Column>{{0, 7000}, {3500}}));
}

TEST(TrackIterators, LetNoTimeFallBelowZero) {
  EXPECT_EQ(timesOfTwo(concat({moof(1, traf(tfhd(1), tfdt(7000), trun(2))),
                               moof(2, traf(tfhd(1), tfdt(20), trun(2)))}))[0],
            (Column{0, 10, 0, 10}));
}

TEST(TrackIterators, ConvertTheEarliestTimeWithoutOverflow) {
  // 54 years in ten millionths of a second, as live streams count.
  constexpr std::uint64_t kSeconds = 1'700'000'000;
  const FragmentedMovie movie(
      {countingTrack(0, 10'000'000), countingTrack(0, 48000)}, concat({trex(1), trex(2)}),
      moof(1, traf(tfhd(1), tfdt(kSeconds * 10'000'000 + 5'000'000), trun(1)),
           traf(tfhd(2), tfdt(kSeconds * 48000 + 48000), trun(1))));
  const auto iterators = createTrackIterators(movie.opened.reader().records(), 600, {});
  EXPECT_EQ(timesOf(drain(*iterators[0])), (Column{0}));
  EXPECT_EQ(timesOf(drain(*iterators[1])), (Column{24000}));
}

TEST(TrackIterators, ApplyEditListsToTimesFromTheEarliestOn) {
  MovieTrack track = countingTrack(0);
  track.edits = {{2, kEmptyEdit}, {0, 10}};
  const FragmentedMovie movie({track}, trex(1), moof(1, traf(tfhd(1), tfdt(7000), trun(3))));
  const auto iterators = createTrackIterators(movie.opened.reader().records(), 100, {});
  EXPECT_EQ(timesOf(drain(*iterators[0])), (Column{0, 20, 30}));
}

TEST(TrackIterators, ReadNoFurtherOnceATrackBeginsAtZero) {
  const FragmentedMovie movie(
      {countingTrack(0)}, trex(1),
      concat({moof(1, traf(tfhd(1), tfdt(0), trun(2))), moof(2, traf(tfhd(1), trun(1)))}));
  const auto iterators = createTrackIterators(movie.opened.reader().records(), 600, {});
  EXPECT_EQ(movie.opened.track().root->fragmentCount(), 1u);
}

TEST(TrackIterators, BeginAtTheEarliestTimeOfFragmentsBeforeTheMovie) {
  MovieBuilder builder({countingTrack(2), countingTrack(2)});
  builder.splitIntoFragments({1, 1}, {.decodeTime = 500});
  builder.fragments[1][0].decodeTime = builder.fragments[1][1].decodeTime = 540;
  builder.fragmentsBeforeMoov = 1;
  EXPECT_EQ(timesByTrack(builder), (std::vector<Column>{{0, 40}, {0, 40}}));
}

// The sequence numbers of the samples of the first track.
Column sequencesOfFirst(const Film& opened) {
  const auto iterators = createTrackIterators(opened.reader().records(), 100, {});
  return sequencesOf(drain(*iterators[0]));
}

TEST(TrackIterators, CountAnEmptyEditToTheFragmentOfTheSampleBeforeIt) {
  MovieTrack track = countingTrack(0);
  track.edits = {{5, kEmptyEdit}, {2, 0}, {1, kEmptyEdit}, {2, 20}, {1, kEmptyEdit}};
  const auto parts = [](std::uint32_t first, std::uint32_t second) {
    return concat({moof(first, traf(tfhd(1), trun(2))), moof(second, traf(tfhd(1), trun(2)))});
  };
  EXPECT_EQ(sequencesOfFirst(FragmentedMovie({track}, trex(1), parts(7, 9)).opened),
            (Column{1, 7, 7, 7, 9, 9, 9}));
  EXPECT_EQ(sequencesOfFirst(FragmentedMovie({track}, trex(1), parts(0, 5)).opened),
            (Column{1, 0, 0, 0, 5, 5, 5}));
}

TEST(TrackIterators, CountAnEmptyEditToTheFirstFragmentWhereThereIsNoOther) {
  MovieTrack track = countingTrack(2);
  track.edits = {{2, 0}, {1, kEmptyEdit}, {1, 20}};
  const Bytes fragment = moof(7, traf(tfhd(1), trun(1)));
  EXPECT_EQ(sequencesOfFirst(FragmentedMovie({track}, trex(1), fragment).opened),
            (Column{0, 0, 1, 7}));
  EXPECT_EQ(sequencesOfFirst(Film(MovieBuilder({track}), ReaderOptions{})), (Column{0, 0, 0}));
}

// A video track whose pictures are shown 20 thousandths late, which its edit list takes back.
MovieTrack reorderedVideo(std::int64_t mediaTime = 20) {
  MovieTrack track = countingTrack(3);
  track.handler = "vide";
  track.entries = {avcEntry()};
  for (MovieSample& sample : track.samples) sample.compositionOffset = 20;
  track.edits = {{0, mediaTime}};
  return track;
}

MovieTrack captions(std::uint32_t timescale = 500) {
  MovieTrack track = countingTrack(2, timescale);
  track.handler = "clcp";
  return track;
}

TEST(TrackIterators, DeliverCaptionsAtTheirStoredTimes) {
  EXPECT_EQ(timesByTrack(MovieBuilder({reorderedVideo(), captions(), countingTrack(2)})),
            (std::vector<Column>{{0, 10, 20}, {0, 10}, {0, 10}}));
  EXPECT_EQ(timesByTrack(MovieBuilder({captions(), reorderedVideo(), captions(1000)})),
            (std::vector<Column>{{0, 10}, {0, 10, 20}, {0, 10}}));
}

TEST(TrackIterators, ApplyTheEditListOfCaptionsAsThatOfAnyTrack) {
  MovieBuilder movie({reorderedVideo(), captions()});
  movie.timescale = 100;
  movie.tracks[1].edits = {{4, kEmptyEdit}, {0, 0}};
  EXPECT_EQ(timesByTrack(movie), (std::vector<Column>{{0, 10, 20}, {0, 20, 30}}));
}

// The shift of the first track.
std::uint64_t shiftOf(const MovieBuilder& movie, const SampleOptions& options = {}) {
  return editShift(Film(movie, ReaderOptions{}).track(), options);
}

TEST(EditShift, IsWhatTheEditListOfATrackLost) {
  EXPECT_EQ(shiftOf(MovieBuilder({reorderedVideo()})), 20u);
  // 15 of the 20 could be taken off; the first edit that shows media counts.
  MovieTrack video = reorderedVideo();
  video.edits = {{1, kEmptyEdit}, {1, 15}, {0, 30}};
  EXPECT_EQ(shiftOf(MovieBuilder({video})), 15u);
  MovieBuilder fragmented({reorderedVideo()});
  EXPECT_EQ(shiftOf(fragmented.splitIntoFragments({2})), 20u);
}

TEST(EditShift, IsNothingWhereNothingIsTakenOff) {
  MovieTrack plain = reorderedVideo();
  plain.edits.reset();
  EXPECT_EQ(shiftOf(MovieBuilder({plain})), 0u);
  EXPECT_EQ(shiftOf(MovieBuilder({reorderedVideo(0)})), 0u);
  MovieTrack late = countingTrack(3);
  late.edits = {{0, 20}};
  EXPECT_EQ(shiftOf(MovieBuilder({late})), 0u);
  late.samples.clear();
  EXPECT_EQ(shiftOf(MovieBuilder({late})), 0u);
  SampleOptions options;
  options.applyEdits = false;
  EXPECT_EQ(shiftOf(MovieBuilder({reorderedVideo()}), options), 0u);
}

TEST(EditShift, FailsForATrackThatCannotBeWalked) {
  MovieBuilder movie({reorderedVideo()});
  movie.tracks[0].extends.reset();
  movie.splitIntoFragments({2});
  EXPECT_CODE(noTrackDefaults, shiftOf(movie));
}

TEST(TrackIterators, KeepTheLeadingKeyPictureOfAReorderedTrack) {
  MovieTrack negative = reorderedVideo();
  for (MovieSample& sample : negative.samples) sample.compositionOffset = 0xFFFFFFEC;
  EXPECT_EQ(timesByTrack(MovieBuilder({reorderedVideo(), negative})),
            (std::vector<Column>{{0, 10, 20}, {0}}));
}

TEST(TrackIterators, AcceptAShiftedEditListOfATrackWithoutSamples) {
  MovieBuilder movie({countingTrack(0)});
  movie.tracks[0].edits = {{5, 20}};
  EXPECT_EQ(timesByTrack(movie), (std::vector<Column>{{}}));
}

}  // namespace
}  // namespace norvik::kav::impl
