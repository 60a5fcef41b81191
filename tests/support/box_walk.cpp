#include "tests/support/box_walk.h"

#include <algorithm>
#include <charconv>
#include <map>
#include <ostream>

namespace quarrypack::test {
namespace {

[[noreturn]] void malformed(const std::string& where, const std::string& what) {
  throw MalformedFile(where + ": " + what);
}

// Bytes of one box, read in order and never past their end.
class Reading {
 public:
  Reading(const Bytes& file, std::uint64_t start, std::uint64_t end, std::string where)
      : file_(file), position_(start), end_(end), where_(std::move(where)) {}

  std::uint64_t number(unsigned width) {
    need(width);
    std::uint64_t value = 0;
    for (unsigned i = 0; i < width; ++i)
      value = value << 8 | file_.at(static_cast<std::size_t>(position_ + i));
    position_ += width;
    return value;
  }
  std::uint8_t n8() { return static_cast<std::uint8_t>(number(1)); }
  std::uint16_t n16() { return static_cast<std::uint16_t>(number(2)); }
  std::uint32_t n32() { return static_cast<std::uint32_t>(number(4)); }
  std::uint64_t n64() { return number(8); }

  Bytes bytes(std::uint64_t count) {
    need(count);
    const auto first = file_.begin() + static_cast<std::ptrdiff_t>(position_);
    position_ += count;
    return Bytes(first, first + static_cast<std::ptrdiff_t>(count));
  }
  void skip(std::uint64_t count) {
    need(count);
    position_ += count;
  }
  std::uint64_t left() const { return end_ - position_; }
  std::uint64_t position() const { return position_; }
  const std::string& where() const { return where_; }

  void expectEnd() const {
    if (left() != 0) malformed(where_, std::to_string(left()) + " bytes too many");
  }
  // A count is accepted only if the bytes of all entries are present.
  std::uint32_t countOfEntries(unsigned entrySize) {
    const std::uint32_t count = n32();
    if (std::uint64_t{count} * entrySize != left()) {
      malformed(where_, std::to_string(count) + " entries do not fill " + std::to_string(left()) +
                            " bytes");
    }
    return count;
  }

 private:
  void need(std::uint64_t count) const {
    if (count > end_ - position_) malformed(where_, "ends too early");
  }

  const Bytes& file_;
  std::uint64_t position_;
  std::uint64_t end_;
  std::string where_;
};

// How many bytes of fields come before a container's children.
const std::map<std::string, unsigned, std::less<>>& containers() {
  static const std::map<std::string, unsigned, std::less<>> fieldBytes = {
      {"moov", 0}, {"trak", 0}, {"edts", 0}, {"tref", 0}, {"mdia", 0}, {"minf", 0}, {"dinf", 0},
      {"stbl", 0}, {"mvex", 0}, {"moof", 0}, {"traf", 0}, {"mfra", 0}, {"dref", 8}, {"stsd", 8}};
  return fieldBytes;
}

std::vector<WalkedBox> readBoxes(const Bytes& file, std::uint64_t start, std::uint64_t end,
                                 const std::string& parent) {
  std::vector<WalkedBox> boxes;
  Reading in(file, start, end, parent.empty() ? "file" : parent);
  while (in.left() > 0) {
    WalkedBox box;
    box.start = in.position();
    std::uint64_t size = in.n32();
    const Bytes type = in.bytes(4);
    box.type.assign(type.begin(), type.end());
    const std::string path = parent.empty() ? box.type : parent + "/" + box.type;
    if (size == 1) size = in.n64();
    if (box.type == "uuid") in.skip(16);
    box.headerSize = in.position() - box.start;
    if (size == 0 && parent.empty()) size = end - box.start;
    if (size < box.headerSize || size > end - box.start) {
      malformed(path, "size " + std::to_string(size) + " does not fit, " +
                          std::to_string(end - box.start) + " bytes are left");
    }
    box.end = box.start + size;
    if (const auto fields = containers().find(box.type); fields != containers().end()) {
      if (box.headerSize + fields->second > size) malformed(path, "ends inside its fields");
      box.children = readBoxes(file, box.start + box.headerSize + fields->second, box.end, path);
    }
    in.skip(box.end - in.position());
    boxes.push_back(std::move(box));
  }
  return boxes;
}

const WalkedBox* childNumber(const std::vector<WalkedBox>& boxes, std::string_view type,
                             std::size_t number) {
  for (const WalkedBox& box : boxes) {
    if (box.type == type && --number == 0) return &box;
  }
  return nullptr;
}

// The values of a sample of a fragment that its run does not state.
struct SampleDefaults {
  std::uint32_t description = 0;
  std::uint32_t duration = 0;
  std::uint32_t size = 0;
  std::uint32_t flags = 0;
};

// Decodes the tracks of one movie. Paths are passed along for the messages.
class TrackReading {
 public:
  TrackReading(const Bytes& file, const std::vector<WalkedBox>& boxes)
      : file_(file), boxes_(boxes) {}

  WalkedMovie movie(const WalkedBox& moov) {
    auto [in, version, flags] = openFull(child(moov, "mvhd"), "moov/mvhd");
    const unsigned wide = version == 1 ? 8 : 4;
    WalkedMovie movie;
    movie.creationTime = in.number(wide);
    movie.modificationTime = in.number(wide);
    movie.timescale = in.n32();
    movie.duration = in.number(wide);
    movie.rate = in.n32();
    movie.volume = in.n16();
    in.skip(10 + 36 + 24);
    movie.nextTrackId = in.n32();
    in.expectEnd();
    return movie;
  }

  WalkedTrack track(const WalkedBox& trak, const std::string& path) {
    WalkedTrack track;
    readHeader(child(trak, "tkhd"), path + "/tkhd", track);
    if (const WalkedBox* edts = childNumber(trak.children, "edts", 1)) {
      if (const WalkedBox* elst = childNumber(edts->children, "elst", 1)) {
        readEdits(*elst, path + "/edts/elst", track);
      }
    }
    const WalkedBox& mdia = child(trak, "mdia");
    readMediaHeader(child(mdia, "mdhd"), path + "/mdia/mdhd", track);
    readHandler(child(mdia, "hdlr"), path + "/mdia/hdlr", track);
    readTables(child(child(mdia, "minf"), "stbl"), path + "/mdia/minf/stbl", track);
    return track;
  }

  // Appends the samples of every fragment to the tracks.
  void fragments(const WalkedBox& moov, std::vector<WalkedTrack>& tracks) {
    const WalkedBox* mvex = childNumber(moov.children, "mvex", 1);
    if (mvex == nullptr) return;
    std::map<std::uint32_t, SampleDefaults> extends;
    for (const WalkedBox& trex : mvex->children) {
      if (trex.type != "trex") continue;
      auto [in, version, flags] = openFull(trex, "moov/mvex/trex");
      const std::uint32_t id = in.n32();
      extends[id] = {in.n32(), in.n32(), in.n32(), in.n32()};
      in.expectEnd();
    }
    for (const WalkedBox& moof : boxes_) {
      if (moof.type != "moof") continue;
      for (const WalkedBox& traf : moof.children) {
        if (traf.type == "traf") readTrackFragment(moof, traf, extends, tracks);
      }
    }
  }

 private:
  struct Opened {
    Reading in;
    unsigned version;
    std::uint32_t flags;
  };

  static const WalkedBox& child(const WalkedBox& parent, std::string_view type) {
    const WalkedBox* found = childNumber(parent.children, type, 1);
    if (found == nullptr) malformed(parent.type, "has no " + std::string(type));
    if (childNumber(parent.children, type, 2) != nullptr) {
      malformed(parent.type, "has more than one " + std::string(type));
    }
    return *found;
  }

  static std::optional<const WalkedBox*> optionalChild(const WalkedBox& parent,
                                                       std::string_view type) {
    if (childNumber(parent.children, type, 1) == nullptr) return std::nullopt;
    return &child(parent, type);
  }

  Opened openFull(const WalkedBox& box, const std::string& path) const {
    Reading in(file_, box.start + box.headerSize, box.end, path);
    const std::uint32_t word = in.n32();
    if (word >> 24 > 1) malformed(path, "has version " + std::to_string(word >> 24));
    return {std::move(in), word >> 24, word & 0xFFFFFF};
  }

  void readHeader(const WalkedBox& box, const std::string& path, WalkedTrack& track) {
    auto [in, version, flags] = openFull(box, path);
    const unsigned wide = version == 1 ? 8 : 4;
    track.flags = flags;
    track.creationTime = in.number(wide);
    track.modificationTime = in.number(wide);
    track.id = in.n32();
    in.skip(4);
    track.duration = in.number(wide);
    in.skip(8 + 2 + 2);
    track.volume = in.n16();
    in.skip(2 + 36);
    track.width = in.n32();
    track.height = in.n32();
    in.expectEnd();
  }

  void readEdits(const WalkedBox& box, const std::string& path, WalkedTrack& track) {
    auto [in, version, flags] = openFull(box, path);
    const unsigned wide = version == 1 ? 8 : 4;
    const std::uint32_t count = in.countOfEntries(2 * wide + 4);
    for (std::uint32_t i = 0; i < count; ++i) {
      WalkedEdit edit;
      edit.duration = in.number(wide);
      edit.mediaTime =
          wide == 8 ? static_cast<std::int64_t>(in.n64()) : static_cast<std::int32_t>(in.n32());
      edit.rate = in.n32();
      track.edits.push_back(edit);
    }
  }

  void readMediaHeader(const WalkedBox& box, const std::string& path, WalkedTrack& track) {
    auto [in, version, flags] = openFull(box, path);
    const unsigned wide = version == 1 ? 8 : 4;
    in.skip(2 * wide);
    track.timescale = in.n32();
    track.mediaDuration = in.number(wide);
    track.language = in.n16();
    in.skip(2);
    in.expectEnd();
  }

  void readHandler(const WalkedBox& box, const std::string& path, WalkedTrack& track) {
    auto [in, version, flags] = openFull(box, path);
    in.skip(4);
    const Bytes type = in.bytes(4);
    track.handler.assign(type.begin(), type.end());
    in.skip(12);
    const Bytes name = in.bytes(in.left());
    track.name.assign(name.begin(), name.end());
  }

  RunTable readRuns(const WalkedBox& box, const std::string& path) {
    auto [in, version, flags] = openFull(box, path);
    RunTable runs;
    const std::uint32_t count = in.countOfEntries(8);
    for (std::uint32_t i = 0; i < count; ++i) {
      const std::uint32_t samples = in.n32();
      runs.emplace_back(samples, in.n32());
    }
    return runs;
  }

  void readTables(const WalkedBox& stbl, const std::string& path, WalkedTrack& track) {
    readEntries(child(stbl, "stsd"), path + "/stsd", track);
    track.timeRuns = readRuns(child(stbl, "stts"), path + "/stts");
    if (const auto ctts = optionalChild(stbl, "ctts")) {
      track.offsetRuns = readRuns(**ctts, path + "/ctts");
    }
    readChunkRuns(child(stbl, "stsc"), path + "/stsc", track);
    readChunkOffsets(stbl, path, track);
    if (const auto stss = optionalChild(stbl, "stss")) {
      auto [in, version, flags] = openFull(**stss, path + "/stss");
      track.hasSyncTable = true;
      const std::uint32_t count = in.countOfEntries(4);
      for (std::uint32_t i = 0; i < count; ++i) track.syncNumbers.push_back(in.n32());
    }
    const std::vector<std::uint32_t> sizes = readSizes(child(stbl, "stsz"), path + "/stsz");
    if (const auto sdtp = optionalChild(stbl, "sdtp")) {
      auto [in, version, flags] = openFull(**sdtp, path + "/sdtp");
      track.dependencies = in.bytes(sizes.size());
      in.expectEnd();
    }
    placeSamples(sizes, path, track);
    timeSamples(path, track);
  }

  void readEntries(const WalkedBox& stsd, const std::string& path, WalkedTrack& track) {
    auto [in, version, flags] = openFull(stsd, path);
    if (in.n32() != stsd.children.size()) malformed(path, "counts other entries than it holds");
    for (const WalkedBox& entry : stsd.children) track.entries.push_back(in.bytes(entry.size()));
  }

  void readChunkRuns(const WalkedBox& box, const std::string& path, WalkedTrack& track) {
    auto [in, version, flags] = openFull(box, path);
    const std::uint32_t count = in.countOfEntries(12);
    for (std::uint32_t i = 0; i < count; ++i) {
      WalkedChunkRun run;
      run.firstChunk = in.n32();
      run.samplesPerChunk = in.n32();
      run.descriptionIndex = in.n32();
      track.chunkRuns.push_back(run);
    }
  }

  void readChunkOffsets(const WalkedBox& stbl, const std::string& path, WalkedTrack& track) {
    const auto co64 = optionalChild(stbl, "co64");
    const WalkedBox& box = co64 ? **co64 : child(stbl, "stco");
    const unsigned width = co64 ? 8 : 4;
    auto [in, version, flags] = openFull(box, path + "/" + box.type);
    const std::uint32_t count = in.countOfEntries(width);
    for (std::uint32_t i = 0; i < count; ++i) track.chunkOffsets.push_back(in.number(width));
  }

  std::vector<std::uint32_t> readSizes(const WalkedBox& box, const std::string& path) {
    auto [in, version, flags] = openFull(box, path);
    const std::uint32_t uniform = in.n32();
    if (uniform != 0) {
      const std::uint32_t count = in.n32();
      in.expectEnd();
      if (count > file_.size()) malformed(path, "counts more samples than the file has bytes");
      return std::vector<std::uint32_t>(count, uniform);
    }
    std::vector<std::uint32_t> sizes(in.countOfEntries(4));
    for (std::uint32_t& size : sizes) size = in.n32();
    return sizes;
  }

  void placeSamples(const std::vector<std::uint32_t>& sizes, const std::string& path,
                    WalkedTrack& track) {
    std::size_t run = 0;
    for (std::size_t chunk = 1; chunk <= track.chunkOffsets.size(); ++chunk) {
      while (run + 1 < track.chunkRuns.size() && track.chunkRuns[run + 1].firstChunk <= chunk)
        ++run;
      if (run >= track.chunkRuns.size() || track.chunkRuns[run].firstChunk > chunk) {
        malformed(path + "/stsc", "says nothing of chunk " + std::to_string(chunk));
      }
      std::uint64_t offset = track.chunkOffsets[chunk - 1];
      for (std::uint32_t i = 0; i < track.chunkRuns[run].samplesPerChunk; ++i) {
        if (track.samples.size() == sizes.size()) malformed(path, "chunks hold too many samples");
        WalkedSample sample;
        sample.offset = offset;
        sample.size = sizes[track.samples.size()];
        sample.descriptionIndex = track.chunkRuns[run].descriptionIndex;
        offset += sample.size;
        track.samples.push_back(sample);
      }
    }
    if (track.samples.size() != sizes.size()) malformed(path, "chunks hold too few samples");
    for (WalkedSample& sample : track.samples) takeBytes(sample, path);
  }

  void takeBytes(WalkedSample& sample, const std::string& path) {
    const bool inside = std::any_of(boxes_.begin(), boxes_.end(), [&](const WalkedBox& box) {
      return box.type == "mdat" && sample.offset >= box.start + box.headerSize &&
             sample.offset <= box.end && sample.size <= box.end - sample.offset;
    });
    if (!inside && sample.size > 0) {
      malformed(path, "sample of " + std::to_string(sample.size) + " bytes at " +
                          std::to_string(sample.offset) + " lies outside the media data");
    }
    if (sample.size > 0) {
      Reading in(file_, sample.offset, sample.offset + sample.size, path);
      sample.bytes = in.bytes(sample.size);
    }
  }

  static std::vector<std::uint32_t> spread(const RunTable& runs, std::size_t samples,
                                           const std::string& path) {
    std::uint64_t sum = 0;
    for (const auto& run : runs) sum += run.first;
    if (sum != samples) {
      malformed(path, "tells of " + std::to_string(sum) + " samples, there are " +
                          std::to_string(samples));
    }
    std::vector<std::uint32_t> values;
    for (const auto& [count, value] : runs) values.insert(values.end(), count, value);
    return values;
  }

  void timeSamples(const std::string& path, WalkedTrack& track) {
    std::vector<WalkedSample>& samples = track.samples;
    const auto durations = spread(track.timeRuns, samples.size(), path + "/stts");
    const auto offsets = track.offsetRuns.empty()
                             ? std::vector<std::uint32_t>(samples.size())
                             : spread(track.offsetRuns, samples.size(), path + "/ctts");
    std::uint64_t time = 0;
    for (std::size_t i = 0; i < samples.size(); ++i) {
      samples[i].decodingTime = time;
      samples[i].duration = durations[i];
      samples[i].compositionOffset = offsets[i];
      if (track.dependencies) samples[i].dependency = (*track.dependencies)[i];
      time += durations[i];
    }
    std::uint32_t last = 0;
    for (const std::uint32_t number : track.syncNumbers) {
      if (number <= last || number > samples.size()) {
        malformed(path + "/stss", "number " + std::to_string(number) + " is out of order or range");
      }
      samples[number - 1].sync = true;
      last = number;
    }
  }

  void readTrackFragment(const WalkedBox& moof, const WalkedBox& traf,
                         const std::map<std::uint32_t, SampleDefaults>& extends,
                         std::vector<WalkedTrack>& tracks) {
    auto [in, version, flags] = openFull(child(traf, "tfhd"), "moof/traf/tfhd");
    const std::uint32_t id = in.n32();
    const auto track =
        std::find_if(tracks.begin(), tracks.end(),
                     [wanted = id](const WalkedTrack& one) { return one.id == wanted; });
    if (track == tracks.end() || !extends.contains(id)) {
      malformed("moof/traf", "track " + std::to_string(id) + " is unknown");
    }
    SampleDefaults defaults = extends.at(id);
    const std::uint64_t base = (flags & 1) != 0 ? in.n64() : moof.start;
    if ((flags & 2) != 0) defaults.description = in.n32();
    if ((flags & 8) != 0) defaults.duration = in.n32();
    if ((flags & 0x10) != 0) defaults.size = in.n32();
    if ((flags & 0x20) != 0) defaults.flags = in.n32();
    in.expectEnd();
    std::uint64_t next = base;
    for (const WalkedBox& trun : traf.children) {
      if (trun.type == "trun") next = readRun(trun, defaults, base, next, *track);
    }
  }

  // The position past the run's last sample, where a run without an offset of its own begins.
  std::uint64_t readRun(const WalkedBox& trun, const SampleDefaults& defaults, std::uint64_t base,
                        std::uint64_t next, WalkedTrack& track) {
    auto [in, version, flags] = openFull(trun, "moof/traf/trun");
    const std::uint32_t count = in.n32();
    if ((flags & 1) != 0) {
      next = base + static_cast<std::uint64_t>(
                        static_cast<std::int64_t>(static_cast<std::int32_t>(in.n32())));
    }
    const std::optional<std::uint32_t> first =
        (flags & 4) != 0 ? std::optional(in.n32()) : std::nullopt;
    for (std::uint32_t i = 0; i < count; ++i) {
      WalkedSample sample;
      sample.decodingTime = track.samples.empty()
                                ? 0
                                : track.samples.back().decodingTime + track.samples.back().duration;
      sample.duration = (flags & 0x100) != 0 ? in.n32() : defaults.duration;
      sample.size = (flags & 0x200) != 0 ? in.n32() : defaults.size;
      std::uint32_t sampleFlags = i == 0 && first ? *first : defaults.flags;
      if ((flags & 0x400) != 0) sampleFlags = in.n32();
      sample.sync = (sampleFlags & 0x01010000) == 0;
      sample.compositionOffset = (flags & 0x800) != 0 ? in.n32() : 0;
      sample.descriptionIndex = defaults.description;
      sample.offset = next;
      next += sample.size;
      takeBytes(sample, "moof/traf/trun");
      track.samples.push_back(std::move(sample));
    }
    in.expectEnd();
    return next;
  }

  const Bytes& file_;
  const std::vector<WalkedBox>& boxes_;
};

struct PathStep {
  std::string_view type;
  std::size_t number = 1;
};

PathStep takeStep(std::string_view& path) {
  const std::size_t slash = path.find('/');
  std::string_view word = path.substr(0, slash);
  path = slash == std::string_view::npos ? std::string_view() : path.substr(slash + 1);
  PathStep step{word.substr(0, 4)};
  if (word.size() > 4) std::from_chars(word.data() + 5, word.data() + word.size(), step.number);
  return step;
}

}  // namespace

void PrintTo(const WalkedEdit& edit, std::ostream* out) {
  *out << "{duration " << edit.duration << ", media time " << edit.mediaTime << ", rate "
       << edit.rate << "}";
}

void PrintTo(const WalkedChunkRun& run, std::ostream* out) {
  *out << "{from chunk " << run.firstChunk << ", " << run.samplesPerChunk
       << " samples, description " << run.descriptionIndex << "}";
}

std::vector<Bytes> WalkedTrack::sampleBytes() const {
  std::vector<Bytes> all;
  for (const WalkedSample& sample : samples) all.push_back(sample.bytes);
  return all;
}

BoxWalk::BoxWalk(Bytes file) : file_(std::move(file)) {
  boxes_ = readBoxes(file_, 0, file_.size(), "");
  const WalkedBox* moov = find("moov");
  if (moov == nullptr) return;
  TrackReading reading(file_, boxes_);
  movie_ = reading.movie(*moov);
  for (const WalkedBox& box : moov->children) {
    if (box.type != "trak") continue;
    const std::string path = "moov/trak[" + std::to_string(tracks_.size() + 1) + "]";
    tracks_.push_back(reading.track(box, path));
  }
  reading.fragments(*moov, tracks_);
}

std::vector<std::string> BoxWalk::topLevelTypes() const {
  std::vector<std::string> types;
  for (const WalkedBox& box : boxes_) types.push_back(box.type);
  return types;
}

const WalkedBox* BoxWalk::find(std::string_view path) const {
  const std::vector<WalkedBox>* level = &boxes_;
  const WalkedBox* found = nullptr;
  while (!path.empty()) {
    const PathStep step = takeStep(path);
    found = childNumber(*level, step.type, step.number);
    if (found == nullptr) return nullptr;
    level = &found->children;
  }
  return found;
}

const WalkedBox& BoxWalk::at(std::string_view path) const {
  const WalkedBox* found = find(path);
  if (found == nullptr) malformed(std::string(path), "is not there");
  return *found;
}

Bytes BoxWalk::payload(const WalkedBox& box) const {
  return Bytes(file_.begin() + static_cast<std::ptrdiff_t>(box.start + box.headerSize),
               file_.begin() + static_cast<std::ptrdiff_t>(box.end));
}

std::vector<std::string> BoxWalk::childTypes(std::string_view path) const {
  std::vector<std::string> types;
  for (const WalkedBox& child : at(path).children) types.push_back(child.type);
  return types;
}

}  // namespace quarrypack::test
