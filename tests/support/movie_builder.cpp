#include "tests/support/movie_builder.h"

#include <algorithm>
#include <stdexcept>

#include "tests/support/box_builders.h"

namespace quarrypack::test {
namespace {

using Offsets = std::vector<std::uint64_t>;

Bytes unityMatrix() { return u32List({0x10000, 0, 0, 0, 0x10000, 0, 0, 0, 0x40000000}); }

// Times and durations are the fields whose width follows the version of their header.
Bytes wide(unsigned version, std::uint64_t value) { return bigEndian(value, version == 1 ? 8 : 4); }

std::string numbered(const std::string& name, std::size_t index) {
  return name + "[" + std::to_string(index + 1) + "]";
}

struct Run {
  std::uint32_t count;
  std::uint32_t value;
};

template <class Value>
std::vector<Run> runsOf(const std::vector<MovieSample>& samples, Value value) {
  std::vector<Run> runs;
  for (const MovieSample& sample : samples) {
    if (runs.empty() || runs.back().value != value(sample)) {
      runs.push_back({0, value(sample)});
    }
    ++runs.back().count;
  }
  return runs;
}

Bytes runTable(const std::vector<Run>& runs) {
  Bytes table = u32(runs.size());
  for (const Run& run : runs) append(table, concat({u32(run.count), u32(run.value)}));
  return table;
}

// The samples of one track that are adjacent in the file.
struct Chunk {
  std::size_t first;
  std::size_t count;
};

std::vector<Chunk> chunksOf(const MovieTrack& track) {
  std::vector<Chunk> chunks;
  std::size_t next = 0;
  while (next < track.samples.size()) {
    const std::size_t wanted =
        track.samplesPerChunk.empty()
            ? 1
            : track.samplesPerChunk[chunks.size() % track.samplesPerChunk.size()];
    Chunk chunk{next, 0};
    while (next < track.samples.size() && chunk.count < std::max<std::size_t>(wanted, 1) &&
           track.samples[next].description == track.samples[chunk.first].description) {
      ++chunk.count;
      ++next;
    }
    chunks.push_back(chunk);
  }
  return chunks;
}

Bytes chunkTable(const MovieTrack& track, const std::vector<Chunk>& chunks) {
  Bytes entries;
  std::uint32_t count = 0;
  for (std::size_t i = 0; i < chunks.size(); ++i) {
    const std::uint32_t description = track.samples[chunks[i].first].description;
    const bool likeTheLast = i > 0 && chunks[i - 1].count == chunks[i].count &&
                             track.samples[chunks[i - 1].first].description == description;
    if (likeTheLast) continue;
    append(entries, concat({u32(i + 1), u32(chunks[i].count), u32(description)}));
    ++count;
  }
  return concat({u32(count), entries});
}

std::uint32_t fragmentFlags(const MovieSample& sample) {
  constexpr std::uint32_t kKey = 0x02000000;
  constexpr std::uint32_t kDependsAndIsNoKey = 0x01010000;
  return sample.sync ? kKey : kDependsAndIsNoKey;
}

}  // namespace

// Assembles the file. Building the movie box twice gives the positions: its length does not depend
// on the offsets in it.
class MovieLayout {
 public:
  explicit MovieLayout(const MovieBuilder& movie) : movie_(movie) {}

  Bytes regular() {
    std::vector<std::vector<Chunk>> chunks;
    for (const MovieTrack& track : movie_.tracks) chunks.push_back(chunksOf(track));
    std::vector<Offsets> offsets;
    for (const auto& list : chunks) offsets.emplace_back(list.size());
    const Bytes samples = placeSamples(chunks, offsets);
    const Bytes mdat = finished("mdat", box("mdat", samples));

    const std::uint64_t start = positionOf("mdat", mdat, offsets) + mdat.size() - samples.size();
    for (Offsets& list : offsets) {
      for (std::uint64_t& offset : list) offset += start;
    }
    Bytes file;
    for (const std::string& name : movie_.order) append(file, topLevel(name, mdat, offsets));
    return concat({file, movie_.tail});
  }

  Bytes fragmented() {
    const std::vector<Offsets> none(movie_.tracks.size());
    Bytes file;
    for (const std::string& name : movie_.order) {
      if (name != "moov" && name != "mdat") append(file, topLevel(name, {}, none));
    }
    for (std::size_t i = 0; i <= movie_.fragments.size(); ++i) {
      if (i == movie_.fragmentsBeforeMoov) append(file, moov(none));
      if (i < movie_.fragments.size()) append(file, fragment(i, file.size()));
    }
    if (movie_.randomAccess) append(file, mfra());
    return concat({file, movie_.tail});
  }

 private:
  Bytes finished(const std::string& path, Bytes box) const {
    const auto [first, last] = movie_.changes_.equal_range(path);
    for (auto change = first; change != last; ++change) box = change->second(box);
    return box;
  }

  // Fills in the offsets from the first sample byte on, and returns the bytes in file order.
  Bytes placeSamples(const std::vector<std::vector<Chunk>>& chunks, std::vector<Offsets>& offsets) {
    struct Place {
      std::size_t track;
      std::size_t chunk;
      double time;
    };
    std::vector<Place> places;
    for (std::size_t t = 0; t < chunks.size(); ++t) {
      const MovieTrack& track = movie_.tracks[t];
      std::uint64_t time = 0;
      for (std::size_t c = 0; c < chunks[t].size(); ++c) {
        places.push_back({t, c, static_cast<double>(time) / std::max(track.timescale, 1u)});
        for (std::size_t i = 0; i < chunks[t][c].count; ++i) {
          time += track.samples[chunks[t][c].first + i].duration;
        }
      }
    }
    if (movie_.interleaved) {
      std::stable_sort(places.begin(), places.end(),
                       [](const Place& a, const Place& b) { return a.time < b.time; });
    }
    Bytes bytes;
    for (const Place& place : places) {
      append(bytes, movie_.chunkGap);
      offsets[place.track][place.chunk] = bytes.size();
      const Chunk& chunk = chunks[place.track][place.chunk];
      for (std::size_t i = 0; i < chunk.count; ++i) {
        append(bytes, movie_.tracks[place.track].samples[chunk.first + i].bytes);
      }
    }
    return bytes;
  }

  std::uint64_t positionOf(const std::string& wanted, const Bytes& mdat,
                           const std::vector<Offsets>& offsets) {
    std::uint64_t position = 0;
    for (const std::string& name : movie_.order) {
      if (name == wanted) break;
      position += topLevel(name, mdat, offsets).size();
    }
    return position;
  }

  Bytes topLevel(const std::string& name, const Bytes& mdat, const std::vector<Offsets>& offsets) {
    if (name == "mdat") return mdat;
    if (name == "moov") return moov(offsets);
    if (name == "wide") return finished(name, box("wide"));
    if (name == "ftyp") {
      return finished(name, box("ftyp", text(movie_.brand), u32(0x20050300), text(movie_.brand)));
    }
    return finished(name, movie_.extras.at(name));
  }

  bool hasFragments() const { return !movie_.fragments.empty(); }

  std::uint64_t movieDuration(const MovieTrack& track) const {
    if (track.edits) {
      std::uint64_t sum = 0;
      for (const MovieEdit& edit : *track.edits) sum += edit.duration;
      return sum;
    }
    return track.duration() * movie_.timescale / std::max(track.timescale, 1u);
  }

  std::uint32_t idOf(std::size_t track) const {
    return movie_.tracks[track].id.value_or(static_cast<std::uint32_t>(track + 1));
  }

  Bytes moov(const std::vector<Offsets>& offsets) {
    std::uint64_t duration = 0;
    std::uint32_t highestId = 0;
    Bytes tracks;
    for (std::size_t i = 0; i < movie_.tracks.size(); ++i) {
      duration = std::max(duration, movieDuration(movie_.tracks[i]));
      highestId = std::max(highestId, idOf(i));
      append(tracks, trak(i, offsets[i]));
    }
    const unsigned version = movie_.headerVersion;
    const Bytes mvhd =
        fullBox("mvhd", version, 0, wide(version, movie_.creationTime),
                wide(version, movie_.modificationTime), u32(movie_.timescale),
                wide(version, duration), u32(movie_.rate), u16(movie_.volume), zeros(10),
                unityMatrix(), zeros(24), u32(std::uint64_t{highestId} + 1));
    return finished("moov", box("moov", finished("moov/mvhd", mvhd), tracks,
                                hasFragments() ? mvex(duration) : Bytes()));
  }

  Bytes mvex(std::uint64_t duration) {
    Bytes defaults;
    for (std::size_t i = 0; i < movie_.tracks.size(); ++i) {
      if (!movie_.tracks[i].extends) continue;
      const TrackExtends& extends = *movie_.tracks[i].extends;
      append(defaults,
             finished("moov/mvex/" + numbered("trex", i),
                      fullBox("trex", 0, 0, u32(idOf(i)), u32(extends.description),
                              u32(extends.duration), u32(extends.size), u32(extends.flags))));
    }
    const Bytes mehd = finished("moov/mvex/mehd", fullBox("mehd", 0, 0, u32(duration)));
    return finished("moov/mvex", box("mvex", mehd, defaults));
  }

  Bytes trak(std::size_t index, const Offsets& offsets) {
    const MovieTrack& track = movie_.tracks[index];
    const std::string path = "moov/" + numbered("trak", index);
    const unsigned version = track.headerVersion;
    const Bytes tkhd =
        fullBox("tkhd", version, track.flags, wide(version, track.creationTime),
                wide(version, track.modificationTime), u32(idOf(index)), u32(0),
                wide(version, movieDuration(track)), zeros(8), u16(0), u16(0), u16(track.volume),
                u16(0), unityMatrix(), u32(track.width), u32(track.height));
    return finished(path, box("trak", finished(path + "/tkhd", tkhd), edts(path, track),
                              mdia(path + "/mdia", track, offsets)));
  }

  Bytes edts(const std::string& trakPath, const MovieTrack& track) {
    if (!track.edits) return {};
    const unsigned version = track.editListVersion;
    Bytes entries = u32(track.edits->size());
    for (const MovieEdit& edit : *track.edits) {
      append(entries,
             concat({wide(version, edit.duration),
                     wide(version, static_cast<std::uint64_t>(edit.mediaTime)), u32(edit.rate)}));
    }
    const Bytes elst = finished(trakPath + "/edts/elst", fullBox("elst", version, 0, entries));
    return finished(trakPath + "/edts", box("edts", elst));
  }

  Bytes mdia(const std::string& path, const MovieTrack& track, const Offsets& offsets) {
    const unsigned version = track.headerVersion;
    const Bytes mdhd = fullBox("mdhd", version, 0, wide(version, track.creationTime),
                               wide(version, track.modificationTime), u32(track.timescale),
                               wide(version, track.duration()), u16(track.language), u16(0));
    const Bytes hdlr = fullBox("hdlr", 0, 0, u32(0), text(track.handler), zeros(12), track.name);
    return finished(path,
                    box("mdia", finished(path + "/mdhd", mdhd), finished(path + "/hdlr", hdlr),
                        minf(path + "/minf", track, offsets)));
  }

  Bytes minf(const std::string& path, const MovieTrack& track, const Offsets& offsets) {
    const std::string dref = path + "/dinf/dref";
    const Bytes url = finished(dref + "/url ", fullBox("url ", 0, 1));
    const Bytes dinf = box("dinf", finished(dref, fullBox("dref", 0, 0, u32(1), url)));
    return finished(path, box("minf", mediaHeader(path, track), finished(path + "/dinf", dinf),
                              stbl(path + "/stbl", track, offsets)));
  }

  Bytes mediaHeader(const std::string& path, const MovieTrack& track) {
    if (track.handler == "vide") {
      return finished(path + "/vmhd",
                      fullBox("vmhd", 0, 1, u16(0x40), u16(0x8000), u16(0x8000), u16(0x8000)));
    }
    if (track.handler == "soun") return finished(path + "/smhd", fullBox("smhd", 0, 0, u32(0)));
    return finished(path + "/nmhd", fullBox("nmhd", 0, 0));
  }

  Bytes stbl(const std::string& path, const MovieTrack& track, const Offsets& offsets) {
    const std::vector<MovieSample> none;
    const std::vector<MovieSample>& samples = hasFragments() ? none : track.samples;
    const std::vector<Chunk> chunks = hasFragments() ? std::vector<Chunk>() : chunksOf(track);
    Bytes children;
    const auto add = [&](const std::string& type, const Bytes& payload) {
      append(children, finished(path + "/" + type, fullBox(type, 0, 0, payload)));
    };
    add("stsd", concat({u32(track.entries.size()), concat(track.entries)}));
    add("stts", runTable(runsOf(samples, [](const MovieSample& s) { return s.duration; })));
    if (std::any_of(samples.begin(), samples.end(),
                    [](const MovieSample& s) { return s.compositionOffset != 0; })) {
      add("ctts",
          runTable(runsOf(samples, [](const MovieSample& s) { return s.compositionOffset; })));
    }
    if (track.syncTable) add("stss", syncTable(samples));
    add("stsc", chunkTable(track, chunks));
    add("stsz", sizeTable(track, samples));
    add(track.wideOffsets ? "co64" : "stco", offsetTable(track, offsets));
    if (track.dependencyTable) {
      Bytes dependencies;
      for (const MovieSample& sample : samples) dependencies.push_back(sample.dependency);
      add("sdtp", dependencies);
    }
    return finished(path, box("stbl", children));
  }

  static Bytes syncTable(const std::vector<MovieSample>& samples) {
    std::vector<std::uint64_t> numbers;
    for (std::size_t i = 0; i < samples.size(); ++i) {
      if (samples[i].sync) numbers.push_back(i + 1);
    }
    return concat({u32(numbers.size()), u32List(numbers)});
  }

  static Bytes sizeTable(const MovieTrack& track, const std::vector<MovieSample>& samples) {
    if (track.uniformSizes && !samples.empty()) {
      return concat({u32(samples[0].bytes.size()), u32(samples.size())});
    }
    Bytes table = concat({u32(0), u32(samples.size())});
    for (const MovieSample& sample : samples) append(table, u32(sample.bytes.size()));
    return table;
  }

  static Bytes offsetTable(const MovieTrack& track, const Offsets& offsets) {
    Bytes table = u32(offsets.size());
    for (const std::uint64_t offset : offsets) {
      append(table, bigEndian(offset, track.wideOffsets ? 8 : 4));
    }
    return table;
  }

  Bytes fragment(std::size_t index, std::uint64_t start) {
    Bytes data;
    const std::uint64_t length = moof(index, start, 0, data).size();
    data.clear();
    const std::uint64_t dataStart = start + length + 8;
    starts_.push_back(start);
    const Bytes head = moof(index, start, dataStart, data);
    return concat({head, finished(numbered("mdat", index), box("mdat", data))});
  }

  Bytes moof(std::size_t index, std::uint64_t start, std::uint64_t dataStart, Bytes& data) {
    const std::string path = numbered("moof", index);
    Bytes children = finished(path + "/mfhd", fullBox("mfhd", 0, 0, u32(index + 1)));
    for (std::size_t i = 0; i < movie_.fragments[index].size(); ++i) {
      append(children, traf(path + "/" + numbered("traf", i), movie_.fragments[index][i], start,
                            dataStart, data));
    }
    return finished(path, box("moof", children));
  }

  Bytes traf(const std::string& path, const TrackFragment& part, std::uint64_t start,
             std::uint64_t dataStart, Bytes& data) {
    const MovieTrack& track = movie_.tracks[part.track];
    const MovieSample first = part.count > 0 ? track.samples[part.first] : MovieSample();
    const std::uint64_t base = (part.tfhdFlags & 1) != 0 ? dataStart + data.size() : start;
    const auto when = [&](std::uint32_t flag, const Bytes& field) {
      return (part.tfhdFlags & flag) != 0 ? field : Bytes();
    };
    const Bytes tfhd =
        fullBox("tfhd", 0, part.tfhdFlags, u32(idOf(part.track)), when(1, u64(base)),
                when(2, u32(first.description)), when(8, u32(first.duration)),
                when(0x10, u32(first.bytes.size())), when(0x20, u32(part.defaultFlags)));
    Bytes children = finished(path + "/tfhd", tfhd);
    if (part.decodeTime) {
      append(children, finished(path + "/tfdt", fullBox("tfdt", 1, 0, u64(*part.decodeTime))));
    }
    const std::vector<std::size_t> runs =
        part.samplesPerRun.empty() ? std::vector<std::size_t>{part.count} : part.samplesPerRun;
    std::size_t next = part.first;
    for (std::size_t i = 0; i < runs.size(); ++i) {
      const Bytes run = trun(part, next, runs[i], dataStart + data.size() - base, data);
      append(children, finished(path + "/" + numbered("trun", i), run));
      next += runs[i];
    }
    return finished(path, box("traf", children));
  }

  Bytes trun(const TrackFragment& part, std::size_t first, std::size_t count, std::uint64_t offset,
             Bytes& data) {
    const auto when = [&](std::uint32_t flag, std::uint64_t field) {
      return (part.trunFlags & flag) != 0 ? u32(field) : Bytes();
    };
    Bytes payload = concat({u32(count), when(1, offset), when(4, part.firstSampleFlags)});
    for (std::size_t i = first; i < first + count; ++i) {
      const MovieSample& sample = movie_.tracks[part.track].samples[i];
      append(payload,
             concat({when(0x100, sample.duration), when(0x200, sample.bytes.size()),
                     when(0x400, fragmentFlags(sample)), when(0x800, sample.compositionOffset)}));
      append(data, sample.bytes);
    }
    return fullBox("trun", part.trunVersion, part.trunFlags, payload);
  }

  // One entry for each fragment with samples of the track; its numbers have one byte each.
  Bytes mfra() {
    Bytes children;
    for (std::size_t t = 0; t < movie_.tracks.size(); ++t) {
      Bytes entries;
      std::uint32_t count = 0;
      std::uint64_t time = 0;
      for (std::size_t f = 0; f < movie_.fragments.size(); ++f) {
        const MovieFragment& parts = movie_.fragments[f];
        for (std::size_t p = 0; p < parts.size(); ++p) {
          if (parts[p].track != t || parts[p].count == 0) continue;
          append(entries, concat({u32(time), u32(starts_[f]), u8(p + 1), u8(1), u8(1)}));
          ++count;
          for (std::size_t i = 0; i < parts[p].count; ++i) {
            time += movie_.tracks[t].samples[parts[p].first + i].duration;
          }
        }
      }
      append(children, fullBox("tfra", 0, 0, u32(idOf(t)), u32(0), u32(count), entries));
    }
    constexpr std::size_t kMfroSize = 16;
    const Bytes mfro = fullBox("mfro", 0, 0, u32(8 + children.size() + kMfroSize));
    return finished("mfra", box("mfra", children, mfro));
  }

  const MovieBuilder& movie_;
  std::vector<std::uint64_t> starts_;  // of the fragments
};

MovieBuilder& MovieBuilder::moovFirst() {
  order = {"ftyp", "moov", "mdat"};
  return *this;
}

MovieBuilder& MovieBuilder::splitIntoFragments(const std::vector<std::size_t>& samplesPerFragment,
                                               const TrackFragment& like) {
  if (samplesPerFragment.size() != tracks.size() ||
      std::count(samplesPerFragment.begin(), samplesPerFragment.end(), 0u) > 0) {
    throw std::invalid_argument("every track needs its number of samples in a fragment");
  }
  order = {"ftyp", "moov"};
  std::vector<std::size_t> next(tracks.size());
  while (true) {
    MovieFragment fragment;
    for (std::size_t i = 0; i < tracks.size(); ++i) {
      const std::size_t left = tracks[i].samples.size() - next[i];
      if (left == 0) continue;
      TrackFragment part = like;
      part.track = i;
      part.first = next[i];
      part.count = std::min(left, samplesPerFragment[i]);
      next[i] += part.count;
      fragment.push_back(part);
    }
    if (fragment.empty()) return *this;
    fragments.push_back(fragment);
  }
}

MovieBuilder& MovieBuilder::change(const std::string& path, Change change) {
  changes_.emplace(path, std::move(change));
  return *this;
}

MovieBuilder& MovieBuilder::replace(const std::string& path, const Bytes& replacement) {
  return change(path, [replacement](const Bytes&) { return replacement; });
}

MovieBuilder& MovieBuilder::drop(const std::string& path) { return replace(path, {}); }

MovieBuilder& MovieBuilder::addInside(const std::string& path, const Bytes& child) {
  return change(
      path, [child](const Bytes& parent) { return box(typeOf(parent), payloadOf(parent), child); });
}

MovieBuilder& MovieBuilder::addBehind(const std::string& path, const Bytes& next) {
  return change(path, [next](const Bytes& before) { return concat({before, next}); });
}

Bytes MovieBuilder::build() const {
  MovieLayout layout(*this);
  return fragments.empty() ? layout.regular() : layout.fragmented();
}

}  // namespace quarrypack::test
