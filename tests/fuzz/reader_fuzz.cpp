// Everything that reads a movie: the reader with and without edit lists, its metadata and sample
// descriptions, and the iterators that it does not use itself.

#include <algorithm>
#include <string>
#include <vector>

#include "kav/exception.h"
#include "kav/impl/boxes/fragment_boxes.h"
#include "kav/impl/boxes/movie_boxes.h"
#include "kav/impl/boxes/random_access_boxes.h"
#include "kav/impl/model/box_headers.h"
#include "kav/impl/model/box_iterators.h"
#include "kav/impl/reading/doc_iterator.h"
#include "kav/impl/reading/reader.h"
#include "kav/impl/reading/track_iterator.h"
#include "kav/impl/tree/kav_document.h"
#include "kav/reader.h"
#include "tests/fuzz/fuzz_target.h"
#include "tests/support/memory_stream.h"

namespace kav = norvik::kav;
namespace impl = norvik::kav::impl;
using quarrypack::test::check;
using quarrypack::test::MemoryStream;
using quarrypack::test::MemoryStreamPtr;

namespace {

// A few bytes can state any number of samples.
constexpr int kMostSamples = 20000;
constexpr std::size_t kMostBytes = 1u << 20;

int refuse(void* /*context*/, kav::Problem /*problem*/) { return 0; }

// Copies a description with each of the functions for it.
void copyDescription(const kav::NorvikKavSampleDescription* description,
                     const kav::NorvikKavSampleDescInfo& base,
                     const std::vector<std::uint8_t>& bytes) {
  kav::NorvikKavVideoSampleDescInfo video;
  kav::NorvikKavAudioSampleDescInfo audio;
  const kav::NorvikKavSampleDescInfo* whole = &base;
  if (kav::getVideoSampleDescriptionInfo(description, &video) == 0) whole = &video;
  if (kav::getAudioSampleDescriptionInfo(description, &audio) == 0) whole = &audio;
  kav::NorvikKavSampleDescription* copies[3] = {};
  check(kav::copySampleDescription(description, &copies[0]) == 0, "a description can be copied");
  check(kav::makeSampleDescription(whole, bytes.data(), &copies[1]) == 0, "and made again");
  const std::uint32_t made = kav::makeSampleDescription(&base, bytes.data(), &copies[2]);
  check(made == (whole == &base ? 0 : 15), "but not of half its record");
  for (kav::NorvikKavSampleDescription* copy : copies) kav::closeSampleDescription(copy);
}

void readDescriptions(kav::NorvikKavReader* reader, std::uint32_t track) {
  std::uint32_t count = 0;
  check(kav::getSampleDescriptionCount(reader, track, &count) == 0, "descriptions are counted");
  for (std::uint32_t i = 1; i <= count; ++i) {
    const kav::NorvikKavSampleDescription* description = nullptr;
    if (kav::getSampleDescriptionHandle(reader, track, i, &description) != 0) continue;
    kav::NorvikKavSampleDescInfo info;
    check(kav::getSampleDescriptionInfo(description, &info) == 0, "a description has its record");
    std::vector<std::uint8_t> bytes(info.headerLength + std::size_t{1});
    check(kav::getSampleDescription(description, bytes.data()) == 0, "and its bytes");
    copyDescription(description, info, bytes);
  }
}

void readTracks(kav::NorvikKavReader* reader) {
  kav::NorvikKavMovieInfo movie;
  check(kav::getMovieInfo(reader, &movie) == 0, "an open movie has a header");
  for (std::uint32_t i = 0; i < movie.trackCount; ++i) {
    kav::NorvikKavTrackInfo info;
    std::uint32_t handler = 0;
    check(kav::getTrackInfo(reader, i, &info) == 0, "every track has a record");
    check(kav::getTrackHandler(reader, i, &handler) == 0, "and a handler");
    std::string name(info.handlerNameLength + std::size_t{1}, '\0');
    check(kav::getTrackName(reader, i, name.data()) == 0, "and a name");
    readDescriptions(reader, i);
  }
  std::vector<kav::NorvikKavTrackTotals> totals(movie.trackCount + std::size_t{1});
  check(kav::countSamples(reader, kMostSamples, totals.data()) == 0, "samples are counted");
}

void readSamples(kav::NorvikKavReader* reader) {
  kav::NorvikKavSampleIterator* iterator = nullptr;
  if (kav::createSampleIterator(reader, &iterator) != 0) return;
  std::vector<std::uint8_t> bytes(kMostBytes);
  for (int i = 0; i < kMostSamples; ++i) {
    std::uint32_t hasNext = 0;
    check(kav::hasNextSample(iterator, &hasNext) == 0, "whether there is a sample is known");
    kav::NorvikKavSample* sample = nullptr;
    if (kav::nextSample(iterator, &sample) != 0) break;
    check((sample != nullptr) == (hasNext != 0), "the next sample is there when it is said to be");
    if (sample == nullptr) break;
    kav::NorvikKavSampleInfo info;
    kav::NorvikKavSampleLocation location;
    kav::getSampleInfo(sample, &info);
    kav::getSampleLocation(sample, &location);
    kav::closeSample(sample);
    const bool isThere = kav::checkBytes(reader, location.fileOffset, info.size) == 0;
    if (info.size > bytes.size()) continue;
    const bool wasRead = kav::readBytes(reader, location.fileOffset, bytes.data(), info.size) == 0;
    check(isThere == wasRead, "bytes that are in the file can be read");
  }
  kav::closeSampleIterator(iterator);
}

void readMetadata(kav::NorvikKavReader* reader) {
  std::size_t length = 0;
  if (kav::getMetadataLength(reader, &length) != 0) return;
  std::vector<std::uint8_t> bytes(length + 1);
  check(kav::getMetadata(reader, bytes.data()) == 0, "metadata stays what it was");
}

void readThroughFacade(const MemoryStreamPtr& file, const kav::NorvikKavReaderOptions& options) {
  kav::NorvikKavReader* reader = nullptr;
  if (kav::openReader(file.get(), options, &reader) != 0) return;
  readTracks(reader);
  readSamples(reader);
  readMetadata(reader);
  check(kav::closeReader(reader) == 0, "a reader can be closed");
}

void walk(impl::SampleIterator& samples) {
  kav::Sample sample;
  for (int i = 0; i < kMostSamples && samples.hasNext(); ++i) {
    if (!samples.take(sample)) break;
  }
}

// Walks one track in segments that no edit list of a file produces.
void walkSegments(const impl::TrackRecord& track) {
  try {
    std::vector<impl::EditSegment> segments = {
        {2, 1, 0}, {1, impl::kNoMedia, 2}, {~std::uint64_t{0}, 3, 3}, {0, 0, ~std::uint64_t{0}}};
    impl::TrackIterator samples(track, 0, std::move(segments), 3, ~std::uint64_t{0});
    walk(samples);
  } catch (const kav::Exception&) {
    return;
  }
}

void walkParts(impl::MoofBox& fragment, std::uint32_t trackId) {
  std::size_t forwards = 0;
  for (impl::TrafBoxIterator part(fragment, trackId); part.current() != nullptr; part.next()) {
    ++forwards;
  }
  std::size_t backwards = 0;
  const std::size_t last = fragment.children().empty() ? 0 : fragment.children().size() - 1;
  for (impl::ReverseTrafBoxIterator part(fragment, trackId, last); part.current() != nullptr;
       part.next()) {
    ++backwards;
  }
  check(backwards == forwards || backwards + 1 == forwards, "both ways meet the same parts");
}

// The index at the end of a fragmented movie, which the reader skips.
void readRandomAccess(impl::NorvikKavStream& stream, impl::RootBox& root, const impl::Box& box) {
  std::uint64_t position = box.payloadStart();
  while (position < box.end()) {
    stream.seekTo(position);
    auto header = impl::readBoxHeader(stream, &box);
    if (!header) return;
    position = header->end;
    if (header->type != norvik::kav::fourCc("tfra")) continue;
    impl::TfraBox table(std::move(*header), stream);
    table.readBody(root, true);
  }
}

void readInside(const MemoryStreamPtr& file) {
  impl::Reader reader(file, {});
  for (const impl::TrackRecord& track : reader.records()) walkSegments(track);

  kav::SampleOptions range;
  range.from = {1, 7};
  range.to = {~std::uint64_t{0}, 90000};
  const auto tracks = impl::createTrackIterators(reader.records(), 600, range);
  for (const auto& track : tracks) walk(*track);

  impl::KavDocument document(file, {});
  impl::RootBox& root = document.root();
  for (std::size_t i = 0; impl::Box* box = root.getChild(i); ++i) {
    if (box->type() == norvik::kav::fourCc("mfra")) readRandomAccess(document.stream(), root, *box);
    auto* fragment = impl::childAs<impl::MoofBox>(*box);
    if (fragment != nullptr) walkParts(*fragment, 1);
  }
  impl::BoxIteratorByType movies(root, norvik::kav::fourCc("moov"));
  check(movies.current() == root.movie(), "the movie is the first box of its type");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const MemoryStreamPtr file = MemoryStream::create({data, data + size});
  readThroughFacade(file, {});
  readThroughFacade(file, {.ignoreEditLists = true});
  readThroughFacade(file, {.problemHandler = {refuse, nullptr}});
  try {
    readInside(file);
  } catch (const kav::Exception&) {
    return 0;
  }
  return 0;
}
