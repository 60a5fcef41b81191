#include "embed/verification.h"

#include <algorithm>
#include <array>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "captions/cc_data.h"
#include "captions/sei.h"
#include "embed/box_comparison.h"
#include "embed/box_rebuild.h"
#include "embed/refusal.h"
#include "embed/sample_tables.h"
#include "kav/exception.h"
#include "kav/memory_size.h"

namespace quarrypack::embed {

using captions::CcTriplet;
using captions::Field;
using norvik::kav::BoxView;
using norvik::kav::fourCc;
using norvik::kav::Movie;
using norvik::kav::Sample;

namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr std::size_t kPiece = std::size_t{256} << 10;

[[noreturn]] void fail(const std::string& where, const char* what) {
  throw VerificationError(where, what);
}

// A range of bytes of a file in which some are replaced.
class Strand {
 public:
  Strand(Movie& movie, std::uint64_t offset, std::uint64_t length)
      : movie_(&movie), position_(offset), end_(offset + length) {}

  // Replaces a range by other bytes. Ranges are given in ascending order; the bytes must outlive
  // the strand.
  void replace(std::uint64_t offset, std::uint64_t length, Bytes bytes) {
    changes_.push_back({offset, length, bytes});
  }

  // Fills the buffer, or as much of it as there are bytes for, and returns how many there were.
  std::size_t read(std::span<std::uint8_t> buffer) {
    std::size_t filled = 0;
    while (filled < buffer.size()) {
      const std::size_t count = readSome(buffer.subspan(filled));
      if (count == 0) break;
      filled += count;
    }
    return filled;
  }

 private:
  struct Change {
    std::uint64_t offset;
    std::uint64_t length;
    Bytes bytes;
  };

  std::size_t readSome(std::span<std::uint8_t> buffer) {
    if (inserted_.empty() && next_ < changes_.size() && changes_[next_].offset == position_) {
      inserted_ = changes_[next_].bytes;
      position_ += changes_[next_++].length;
      if (inserted_.empty()) return readSome(buffer);
    }
    if (!inserted_.empty()) {
      const std::size_t count = std::min(buffer.size(), inserted_.size());
      std::copy_n(inserted_.begin(), count, buffer.begin());
      inserted_ = inserted_.subspan(count);
      return count;
    }
    const std::uint64_t stop = next_ < changes_.size() ? changes_[next_].offset : end_;
    const std::size_t count = norvik::kav::sizeWithin(stop - position_, buffer.size());
    if (count > 0) movie_->readAt(position_, buffer.first(count));
    position_ += count;
    return count;
  }

  Movie* movie_;
  std::uint64_t position_;
  std::uint64_t end_;
  std::vector<Change> changes_;
  std::size_t next_ = 0;
  Bytes inserted_;
};

std::string numbered(const std::string& label, std::uint32_t sample) {
  return label + ", sample " + std::to_string(sample + 1);
}

// What follows the last box: nothing in most films, a few bytes that are no box in some.
Strand tailOf(Film& film) {
  std::uint64_t end = 0;
  for (const TopLevelBox& box : film.boxes()) end = box.end();
  return {film.movie(), end, film.movie().fileLength() - end};
}

class Verifier {
 public:
  Verifier(Film& input, Film& output, const FilmPictures& pictures, const CaptionPlan& plan,
           const std::function<void(std::uint64_t)>& report)
      : input_(input),
        output_(output),
        pictures_(pictures),
        plan_(plan),
        report_(report),
        old_(kPiece),
        new_(kPiece) {}

  void run() {
    pairTracks();
    compareTables();
    for (const Pair& pair : pairs_) {
      if (isOfPictures(pair)) {
        comparePictures(pair.track, pair.copy);
      } else if (isFragmented()) {
        compareSamples(pair.track, pair.copy);
      }
    }
    compareStrands(tailOf(input_), tailOf(output_),
                   [] { return std::string("what follows its last box"); });
  }

 private:
  static constexpr std::uint32_t kNotShown = ~std::uint32_t{0};

  struct Pair {
    const FilmTrack& track;
    const FilmTrack& copy;
  };

  bool isFragmented() const { return input_.movie().info().isFragmented; }
  bool isOfPictures(const Pair& pair) const { return &pair.track == &input_.pictureTrack(); }

  void pairTracks() {
    std::size_t next = 0;
    for (const FilmTrack& track : input_.tracks()) {
      if (track.isCaptions()) continue;
      if (next == output_.tracks().size()) fail(track.label, "it is missing");
      const FilmTrack& copy = output_.tracks()[next++];
      if (track.id() != copy.id()) fail(track.label, "it is missing");
      pairs_.push_back({track, copy});
    }
    if (next != output_.tracks().size()) fail("its tracks", "there are more than in the input");
  }

  // Compares the boxes, and the samples for which these suffice. The moov boxes take much memory
  // and are free afterwards.
  void compareTables() {
    const MovieBox inputBox = input_.readMovieBox();
    const MovieBox outputBox = output_.readMovieBox();
    compareBoxes(input_, inputBox, output_, outputBox);
    if (isFragmented()) return;
    for (const Pair& pair : pairs_) {
      if (!isOfPictures(pair)) compareChunks(pair, inputBox, outputBox);
    }
  }

  // where() names the place of the bytes. There are millions of places, and hardly any is named.
  template <class Where>
  void compareStrands(Strand a, Strand b, Where where) {
    for (;;) {
      const std::size_t count = a.read(old_);
      if (b.read(new_) != count) fail(where(), "its length is not that of the input");
      if (!std::equal(old_.begin(), old_.begin() + static_cast<std::ptrdiff_t>(count),
                      new_.begin())) {
        fail(where(), "its bytes are not those of the input");
      }
      compared_ += count;
      if (report_) report_(compared_);
      if (count < old_.size()) return;
    }
  }

  void compareChunks(const Pair& pair, const MovieBox& inputBox, const MovieBox& outputBox) {
    const FilmTrack& track = pair.track;
    const auto stbl = inputBox.of(track).find("mdia/minf/stbl");
    if (!stbl) return;  // nor has the copy one: all boxes were compared
    const SampleTables tables(*stbl, track.label);
    SampleTables::Chunks olds = tables.chunks();
    std::size_t number = 0;
    output_.forEachRange(outputBox, pair.copy, [&](std::uint64_t offset, std::uint64_t length) {
      const std::optional<Chunk> old = olds.next();
      if (!old) fail(track.label, "it has more chunks than in the input");
      ++number;
      compareStrands(Strand(input_.movie(), old->offset, tables.length(*old)),
                     Strand(output_.movie(), offset, length),
                     [&] { return track.label + ", chunk " + std::to_string(number); });
    });
    if (olds.next()) fail(track.label, "chunks are missing");
  }

  // Times of samples in fragments count from where the earliest track begins, which may have been
  // that of the captions. The times that the fragments state were compared with all their boxes.
  bool hasSameTime(const Sample& old, const Sample& written) const {
    return written.info.compositionOffset == old.info.compositionOffset &&
           (old.isOfFragment || written.info.decodingTime == old.info.decodingTime);
  }

  // Calls compare with each sample of a track and its copy, whose times are the same.
  template <class Compare>
  void forEachPair(const FilmTrack& track, const FilmTrack& copy, Compare compare) {
    norvik::kav::SampleOptions options;
    options.applyEdits = false;
    options.trackIndex = copy.track->index;
    norvik::kav::SampleRange samples = output_.movie().samples(options);
    input_.forEachSample(track, [&](const Sample& old, std::uint32_t number) {
      const Sample* const written = samples.next();
      if (written == nullptr) fail(numbered(track.label, number), "it is missing");
      if (!hasSameTime(old, *written) || written->info.flags != old.info.flags ||
          written->descriptionIndex != old.descriptionIndex) {
        fail(numbered(track.label, number), "its time or its flags are not those of the input");
      }
      compare(old, *written, number);
    });
    if (samples.next() != nullptr) fail(track.label, "it has more samples than in the input");
  }

  void compareSamples(const FilmTrack& track, const FilmTrack& copy) {
    forEachPair(track, copy, [&](const Sample& old, const Sample& written, std::uint32_t number) {
      compareStrands(Strand(input_.movie(), old.fileOffset, old.info.size),
                     Strand(output_.movie(), written.fileOffset, written.info.size),
                     [&] { return numbered(track.label, number); });
    });
  }

  const PictureUnits& look(PictureReader& reader, Movie& movie, const Sample& sample,
                           PictureCoding coding) {
    return reader.look(sample.info.size, coding,
                       [&](std::uint64_t offset, std::span<std::uint8_t> bytes) {
                         readHead(movie, sample, offset, bytes);
                       });
  }

  void findPlanned() {
    planned_.resize(pictures_.sampleCount, kNotShown);
    for (std::size_t i = 0; i < pictures_.shown.size(); ++i) {
      planned_[pictures_.shown[i]] = static_cast<std::uint32_t>(i);
    }
  }

  void comparePictures(const FilmTrack& track, const FilmTrack& copy) {
    findPlanned();
    PictureReader oldReader;
    PictureReader newReader;
    forEachPair(track, copy, [&](const Sample& old, const Sample& written, std::uint32_t number) {
      Strand a(input_.movie(), old.fileOffset, old.info.size);
      Strand b(output_.movie(), written.fileOffset, written.info.size);
      const auto where = [&] { return numbered(track.label, number); };
      const auto coding = old.description == nullptr ? std::optional<PictureCoding>()
                                                     : pictureCodingOf(*old.description);
      if (coding && old.info.size > 0) {
        const PictureUnits& before = look(oldReader, input_.movie(), old, *coding);
        if (before.takesCaptions) {
          for (const CaptionCut& cut : before.cuts) {
            a.replace(old.fileOffset + cut.offset, cut.length, cut.rest);
          }
          const PictureUnits& after = look(newReader, output_.movie(), written, *coding);
          comparePlan(written, after, *coding, number, where);
          for (const CaptionCut& cut : after.cuts) {
            b.replace(written.fileOffset + cut.offset, cut.length, {});
          }
        }
      }
      compareStrands(std::move(a), std::move(b), where);
    });
  }

  template <class Where>
  void comparePlan(const Sample& written, const PictureUnits& units, PictureCoding coding,
                   std::uint32_t number, Where where) {
    expected_.clear();
    if (number < planned_.size() && planned_[number] != kNotShown) {
      for (const Field field : {Field::one, Field::two}) {
        for (const captions::BytePair pair : plan_.pairs(field, planned_[number])) {
          expected_.push_back({true, captions::ccTypeOf(field), pair.first, pair.second});
        }
      }
    }
    found_.clear();
    for (const CaptionCut& cut : units.cuts) {
      if (!cut.rest.empty()) fail(where(), "its captions share a unit with other messages");
      unit_.resize(cut.length);
      output_.movie().readAt(written.fileOffset + cut.offset, unit_);
      const captions::SeiUnit sei =
          captions::parseSeiUnit(Bytes(unit_).subspan(coding.nalLengthSize), *coding.rules);
      for (const captions::SeiMessage& message : sei.messages) {
        const auto data = captions::captionData(sei, message);
        if (!data || !data->process || !data->whole()) fail(where(), "its captions are damaged");
        found_.insert(found_.end(), data->triplets.begin(), data->triplets.end());
      }
    }
    if (found_ != expected_) fail(where(), "its captions differ from those that were inserted");
  }

  Film& input_;
  Film& output_;
  const FilmPictures& pictures_;
  const CaptionPlan& plan_;
  const std::function<void(std::uint64_t)>& report_;
  std::vector<Pair> pairs_;             // the tracks that stay
  std::vector<std::uint32_t> planned_;  // for each sample its place in the plan
  std::vector<std::uint8_t> old_;
  std::vector<std::uint8_t> new_;
  std::vector<std::uint8_t> unit_;
  std::vector<CcTriplet> expected_;
  std::vector<CcTriplet> found_;
  std::uint64_t compared_ = 0;
};

}  // namespace

void verifyFilm(Film& input, const FilmPictures& pictures, const CaptionPlan& plan,
                norvik::kav::IStreamPtr written, const std::function<void(std::uint64_t)>& report) {
  try {
    Film output(std::move(written));
    Verifier(input, output, pictures, plan, report).run();
  } catch (const Refusal& refusal) {
    throw VerificationError(std::string("the written file was read again and is damaged: ") +
                            refusal.what());
  }
}

}  // namespace quarrypack::embed
