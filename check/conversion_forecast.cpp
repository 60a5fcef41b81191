#include "check/conversion_forecast.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "check/conversion_rule_table.h"
#include "check/film_traits.h"
#include "check/rehearsal.h"
#include "check/track_names.h"
#include "kav/error_text.h"
#include "kav/exception.h"
#include "sources/picture_source.h"
#include "sources/track_source.h"

namespace quarrypack::check {
namespace {

namespace kav = norvik::kav;
using captions::Time;
using kav::fourCc;

// "0.067 s"
std::string seconds(Time time) {
  const std::int64_t milliseconds = captions::milliseconds(time);
  const std::string decimals = std::to_string(1000 + milliseconds % 1000).substr(1);
  return std::to_string(milliseconds / 1000) + '.' + decimals + " s";
}

// "1 sample" or "14 samples".
std::string counted(std::uint64_t count, const std::string& thing) {
  return std::to_string(count) + ' ' + thing + (count == 1 ? "" : "s");
}

bool isVideo(const kav::Track& track) { return track.handlerType == fourCc("vide"); }
bool isSound(const kav::Track& track) { return track.handlerType == fourCc("soun"); }

// Notes what a rehearsal has shown.
class Forecaster {
 public:
  Forecaster(sources::FilmFile& film, const Rehearsal& rehearsal, Findings& findings)
      : film_(film), rehearsal_(rehearsal), findings_(findings) {}

  std::vector<HitSamples> make() {
    noteTraits(film_, findings_);
    noteCaptions();
    for (const RehearsedTrack& track : rehearsal_.tracks()) noteTrack(track);
    noteDelay();
    noteCaptionsInside();
    return noteHits();
  }

 private:
  void note(const Rule& rule, const Rehearsal::Occasions& occasions,
            const std::string& detail = {}) {
    for (const Time time : occasions.times) findings_.note(rule, time, detail);
    noteMany(rule, occasions.count - occasions.times.size(), detail);
  }

  void noteMany(const Rule& rule, std::uint64_t count, const std::string& detail = {}) {
    if (count > 0) findings_.note(rule, std::nullopt, detail, count);
  }

  std::vector<HitSamples> noteHits() {
    std::vector<HitSamples> hits;
    for (std::size_t i = 0; i < rehearsal_.tracks().size(); ++i) {
      const Rehearsal::Occasions& hit = rehearsal_.hits()[i];
      if (hit.count == 0) continue;
      const kav::Track& track = rehearsal_.tracks()[i].track();
      note(kCaptionsInOtherTrack, hit, nameOf(track) + ", " + counted(hit.count, "sample"));
      hits.push_back({track.info.trackId, kindOf(track), hit.count, hit.times});
    }
    return hits;
  }

  void noteCaptions() {
    const Rehearsal::CaptionEvents& events = rehearsal_.events();
    note(kCaptionsInGap, events.inGaps);
    note(kCaptionsAfterEnd, events.dropped);
    note(kCaptionsShareAPicture, events.sharedPictures);
    note(kCaptionInPieces, events.inPieces);
    note(kOddCaptionAtom, events.oddAtoms);
    note(kUnknownCaptionAtom, events.unknownAtoms);
    note(kInvalidNalLength, events.invalidLengths);
    noteMany(kSeveralCaptionTracks, events.ofOtherTracks,
             counted(events.ofOtherTracks, "sample") + " of other caption tracks");
    noteMany(kTrackWithoutName, events.tracksWithoutName);
    noteMany(kDescriptionWithoutContent, events.emptyDescriptions);
  }

  void noteTrack(const RehearsedTrack& track) {
    if (isVideo(track.track())) notePictures(track);
    if (const std::optional<Time> gap = track.firstGap()) {
      findings_.note(kFirstEditOfNoLength, Time{0}, nameOf(track.track()) + ", " + seconds(*gap));
    }
    if (!isSound(track.track())) noteLastSample(track);
  }

  void notePictures(const RehearsedTrack& video) {
    if (video.samples() == 0) return;
    const std::string name = nameOf(video.track());
    if (video.syncSamples() == 0) {
      findings_.note(kNoKeyPictures, std::nullopt,
                     name + (video.track().hasSyncTable ? ": the table is empty" : ""));
    } else if (video.samplesBeforeSync() > 0) {
      findings_.note(kFirstPicturesLost, Time{0}, name, video.samplesBeforeSync());
    }
    noteMany(kLastPicturesHidden, video.samplesAfterEnd(), name);
    noteMany(kNegativeOffsets, video.negativeOffsets(), name);
  }

  // The duration of a last sample is lost. Viewers do not notice half a second at the end of a
  // film.
  void noteLastSample(const RehearsedTrack& track) {
    constexpr Time kLongest{captions::Time::period::den / 2};
    const kav::Track& read = track.track();
    Time lasting{0};
    film_.forEachSample(film_.tracks()[read.index],
                        [&lasting](const sources::StoredSample& sample, bool isLast) {
                          if (isLast) lasting = sample.span.end - sample.span.start;
                        });
    const std::string detail = nameOf(read) + ", " + seconds(lasting);
    if (read.handlerType == fourCc("tmcd")) {
      if (lasting > track.lastDuration()) {
        findings_.note(kTimeCodeDurationLost, std::nullopt, detail);
      }
    } else if (lasting > kLongest) {
      findings_.note(kLastSampleCut, std::nullopt, detail);
    }
  }

  Time shiftOf(const kav::Track& track) {
    return captions::timeOfUnits(static_cast<std::int64_t>(film_.movie().editShift(track)),
                                 track.info.mediaTimescale);
  }

  void noteDelay() {
    const RehearsedTrack* const video = rehearsal_.video();
    if (video == nullptr) return;
    const Time delay = shiftOf(video->track());
    const auto tracks = rehearsal_.tracks();
    const auto sound = std::find_if(tracks.begin(), tracks.end(),
                                    [](const auto& track) { return isSound(track.track()); });
    if (sound == tracks.end() || delay <= shiftOf(sound->track())) return;
    findings_.note(kPictureDelay, std::nullopt, seconds(delay - shiftOf(sound->track())));
  }

  void noteCaptionsInside() {
    if (!sources::hasCaptionPictures(film_)) return;
    try {
      const sources::CaptionPairs inside = sources::readPicturePairs(film_);
      std::uint64_t pairs = 0;
      std::optional<Time> first;
      for (const captions::FieldPairs& field : inside.fields) {
        for (const captions::TimedPair& pair : field) {
          if (pair.bytes.isPadding()) continue;
          ++pairs;
          first = std::min(first.value_or(pair.time), pair.time);
        }
      }
      if (pairs > 0) {
        findings_.note(kCaptionsInsideAlready, first, counted(pairs, "pair"), pairs);
      }
    } catch (const sources::SourceError& error) {
      findings_.note(kPicturesUnreadable, std::nullopt, error.what());
    }
  }

  sources::FilmFile& film_;
  const Rehearsal& rehearsal_;
  Findings& findings_;
};

}  // namespace

std::vector<HitSamples> forecastConversion(sources::FilmFile& film, Findings& findings) {
  if (!sources::hasCaptionTrack(film)) {
    findings.note(kNoCaptionTrack);
    return {};
  }
  Rehearsal rehearsal(film.movie());
  try {
    if (!rehearsal.run()) {
      findings.note(kNoVideo);
      return {};
    }
  } catch (const kav::Exception& exception) {
    findings.note(kConversionFails, std::nullopt, kav::errorText(exception.code()));
    return {};
  }
  return Forecaster(film, rehearsal, findings).make();
}

}  // namespace quarrypack::check
