// Writes the inputs from which fuzzing starts: one small file for each feature of the targets.
//
//     make_seeds FOLDER      fills FOLDER/movies, captions, sei, avcc, xml, decoder608 and scc

#include <algorithm>
#include <exception>
#include <filesystem>
#include <iostream>
#include <string>

#include "tests/support/box_builders.h"
#include "tests/support/media_samples.h"
#include "tests/support/movie_builder.h"
#include "tests/support/run_program.h"

namespace quarrypack::test {
namespace {

namespace fs = std::filesystem;

class Seeds {
 public:
  explicit Seeds(fs::path folder) : folder_(std::move(folder)) { fs::create_directories(folder_); }

  void add(const std::string& name, const Bytes& bytes) const { writeFile(folder_ / name, bytes); }
  void add(const std::string& name, const MovieBuilder& movie) const {
    add(name + ".mov", movie.build());
  }

 private:
  fs::path folder_;
};

MovieTrack shortVideo(std::size_t betweenAnchors = 0) {
  return videoTrack({.count = 7, .syncEvery = 3, .betweenAnchors = betweenAnchors, .sliceSize = 6});
}
MovieTrack shortSound() { return soundTrack({.count = 5, .size = 8}); }
MovieTrack shortCaptions() { return captionTrack(3); }

MovieBuilder usualMovie() { return MovieBuilder({shortVideo(), shortSound(), shortCaptions()}); }
MovieBuilder smallMovie() { return MovieBuilder({shortVideo(), shortCaptions()}); }

MovieBuilder fragmented(const TrackFragment& like = {}) {
  MovieBuilder movie = smallMovie();
  movie.splitIntoFragments({3, 1}, like);
  return movie;
}

void addMovies(const Seeds& seeds) {
  seeds.add("usual", usualMovie());
  seeds.add("moov_first", usualMovie().moovFirst());
  seeds.add("no_captions", MovieBuilder({shortVideo(), shortSound()}));
  seeds.add("reordered", MovieBuilder({shortVideo(2), shortCaptions()}));

  MovieBuilder edits = usualMovie();
  edits.tracks[0].edits = {{10, kEmptyEdit}, {60, 2002}, {0, 0}};
  edits.tracks[1].edits = {{20, 0}, {15, kEmptyEdit}, {30, 2048}};
  edits.tracks[2].edits = {{40, 1001}};
  seeds.add("edits", edits);
  edits.tracks[0].editListVersion = 1;
  edits.headerVersion = 1;
  for (MovieTrack& track : edits.tracks) track.headerVersion = 1;
  seeds.add("edits_wide", edits);

  MovieBuilder tables = usualMovie();
  tables.tracks[0].syncTable = true;
  tables.tracks[0].dependencyTable = true;
  tables.tracks[0].wideOffsets = true;
  tables.tracks[0].samplesPerChunk = {3, 1};
  tables.tracks[1].uniformSizes = true;
  tables.tracks[1].samplesPerChunk = {2};
  seeds.add("tables", tables);

  MovieBuilder others({shortVideo(), shortCaptions(),
                       otherTrack("tmcd", genericEntry("tmcd", zeros(18)), 2),
                       otherTrack("hint", genericEntry("rtp ", zeros(8)), 2)});
  others.extras["uuid"] = uuidBox(kXmpUuid, text("<x:xmpmeta/>"));
  others.extras["free"] = box("free", zeros(8));
  others.order = {"ftyp", "free", "mdat", "moov", "uuid"};
  seeds.add("other_tracks", others);

  MovieBuilder forms = smallMovie();
  forms.change("moov/mvhd", uuidForm).change("moov/trak[1]", largeForm);
  forms.change("moov", runningToEnd);
  seeds.add("header_forms", forms);

  MovieBuilder twoDescriptions = usualMovie();
  twoDescriptions.tracks[0].entries.push_back(avcEntry(2));
  for (std::size_t i = 3; i < 7; ++i) twoDescriptions.tracks[0].samples[i].description = 2;
  seeds.add("two_descriptions", twoDescriptions);

  seeds.add("fragments", fragmented());
  seeds.add("fragments_defaults", fragmented({.tfhdFlags = 0x02003A, .trunFlags = 0x205}));
  seeds.add("fragments_based", fragmented({.tfhdFlags = 0x000001, .trunFlags = 0xF01}));
  MovieBuilder timed = fragmented({.decodeTime = 5005});
  for (MovieFragment& fragment : timed.fragments) {
    for (TrackFragment& part : fragment) {
      if (part.count > 1) part.samplesPerRun = {1, part.count - 1};
    }
  }
  timed.randomAccess = true;
  timed.fragmentsBeforeMoov = 1;
  timed.tracks[0].edits = {{50, 1001}};
  seeds.add("fragments_timed", timed);
}

// A pop-on caption in both fields and its erasure.
MovieTrack decodableCaptions() {
  const Bytes field1 = hex("9420 9470 c180 942f");
  const Bytes field2 = hex("1520 15f0 c280 152f");
  return captionTrack(CaptionTrackOptions{
      .samples = {concat({cdat(field1), cdt2(field2)}), cdat(hex("942c"))}, .duration = 4004});
}

MovieTrack hevcVideo() {
  MovieTrack video = shortVideo();
  const Bytes arrays = hex("01 01 60000000 900000000000 5d f000 fc fd f8 f8 0000 0f 00");
  video.entries = {videoEntry("hvc1", box("hvcC", arrays))};
  for (MovieSample& sample : video.samples) {
    sample.bytes = accessUnit({hex("460150"), hex("4e018101aa80"), hex("2601aabb")});
  }
  return video;
}

// Films with the boxes that embedding changes.
void addFilms(const Seeds& seeds) {
  seeds.add("film_pop_on", MovieBuilder({shortVideo(2), shortSound(), decodableCaptions()}));
  seeds.add("film_hevc", MovieBuilder({hevcVideo(), decodableCaptions()}));

  MovieBuilder captioned({shortVideo(), shortCaptions()});
  const Bytes message = hex("0411 b50031 47413934 03 c2ff fc9420 fd1525 ff");
  for (MovieSample& sample : captioned.tracks[0].samples) {
    append(sample.bytes, lengthPrefixed(concat({hex("06"), message, hex("80")})));
    std::rotate(sample.bytes.begin(), sample.bytes.end() - 26, sample.bytes.end());
  }
  seeds.add("film_captioned", captioned);

  MovieBuilder quickTime({shortVideo(), shortSound(), decodableCaptions()});
  const Bytes sound = concat({zeros(6), u16(1), u16(1), zeros(6), u16(2), u16(16), zeros(4),
                              u32(44100u << 16), zeros(16)});
  quickTime.tracks[1].entries = {
      box("mp4a", sound, box("wave", box("frma", text("mp4a")), elementaryStreamDescriptor()))};
  quickTime.addInside("moov",
                      box("udta", box("meta", box("hdlr", zeros(24)), box("ilst")), zeros(4)));
  quickTime.addInside("moov/trak[1]", box("tref", box("clcp", u32(3))));
  seeds.add("film_quicktime", quickTime);

  MovieBuilder indexed = fragmented({.decodeTime = 5005});
  indexed.randomAccess = true;
  indexed.extras["sidx"] = fullBox("sidx", 0, 0, u32(1), u32(30000), u32(0), u32(0), u16(0), u16(1),
                                   u32(0), u32(7007), u32(0x90000000));
  indexed.order.push_back("sidx");
  seeds.add("film_indexed", indexed);
}

void addCaptions(const Seeds& seeds) {
  const auto seed = [&](const std::string& name, unsigned lengthSize, const Bytes& sample,
                        std::initializer_list<Bytes> captions) {
    Bytes bytes = concat({u8(lengthSize - 1), u16(sample.size()), sample});
    for (const Bytes& caption : captions) append(bytes, concat({u16(caption.size()), caption}));
    seeds.add(name, bytes);
  };
  const auto sample = [](unsigned lengthSize) {
    return accessUnit({accessUnitDelimiter(), sequenceParameters(), pictureParameters(),
                       nal(kKeySlice, text("slice"))},
                      lengthSize);
  };
  for (unsigned lengthSize = 1; lengthSize <= 4; ++lengthSize) {
    seed("lengths_" + std::to_string(lengthSize), lengthSize, sample(lengthSize),
         {cdat(captionPairs(4)), concat({cdat(captionPairs(6)), cdt2(captionPairs(4))})});
  }
  seed("pieces", 4, sample(4), {cdat(captionPairs(130)), cdt2(captionPairs(61))});
  seed("odd", 4, sample(4), {concat({cdat(captionPairs(3)), cdt2(captionPairs(5))})});
  seed("zeros", 4, sample(4), {cdat(zeros(24)), captionAtom("abcd", zeros(2))});
  seed("false_sizes", 4, sample(4),
       {claimingSize(4, cdat(captionPairs(4))), claimingSize(900, cdat(captionPairs(4)))});
  seed("no_atoms", 4, sample(4), {Bytes(), text("abc")});
  seed("empty_units", 2, zeros(6), {cdat(captionPairs(4))});
  seed("negative_length", 4, u32(0x80000000), {cdat(captionPairs(4))});
  seed("cut_off", 4, Bytes{0, 0, 0}, {cdat(captionPairs(4))});
}

void addPictures(const Seeds& seeds) {
  constexpr std::uint8_t kHevc = 4;
  const Bytes captions = hex("0411 b50031 47413934 03 c2ff fc9420 fd1525 ff");
  const Bytes others = hex("0501aa ff0103000003");
  const auto seed = [&](const std::string& name, std::uint8_t codec, unsigned lengthSize,
                        const std::vector<Bytes>& units, std::uint8_t outsideMemory = 0) {
    const Bytes head{static_cast<std::uint8_t>(codec | (lengthSize - 1)), outsideMemory};
    seeds.add(name, concat({head, accessUnit(units, lengthSize)}));
  };
  const auto sei = [](const Bytes& header, const std::vector<Bytes>& messages) {
    return concat({header, concat(messages), hex("80")});
  };
  const Bytes slice = nal(kKeySlice, text("slice"));
  seed("h264", 0, 4,
       {accessUnitDelimiter(), sequenceParameters(), sei(hex("06"), {captions}), slice});
  seed("h264_mixed", 0, 2, {sei(hex("06"), {others, captions, others}), slice});
  seed("h264_leading", 0, 1, {sei(hex("06"), {hex("000180")}), slice}, 3);
  seed("hevc", kHevc, 4, {hex("460150"), sei(hex("4e01"), {captions}), hex("2601aabb")});
  seed("hevc_leading", kHevc, 3, {sei(hex("4e01"), {hex("8101aa")}), hex("2601aabb")});
  seed("broken_sei", 0, 4, {hex("06ffffff"), hex("0604ff"), hex("06")});
  seeds.add("avcC", concat({hex("0000 01 42c01e fd e1 0003 670102 01 0002 696a")}));
  seeds.add("hvcC", hex("0000 01 01 60000000 900000000000 5d f000 fc fd f8 f8 1900 0f 00"));
  seeds.add("atoms", concat({hex("0000"), cdat(captionPairs(5)), cdt2(captionPairs(4))}));
}

void addConfigurations(const Seeds& seeds) {
  seeds.add("whole", avcConfiguration());
  seeds.add("in_entry", avcEntry(2));
  seeds.add("small_size", claimingSize(9, avcConfiguration()));
  seeds.add("no_sets", box("avcC", Bytes{1, 66, 0, 30, 0xFF, 0xE0, 0}));
  seeds.add("many_sets", box("avcC", Bytes{1, 66, 0, 30, 0xFC, 0xE2, 0, 1, 7, 0, 0, 1, 0, 1, 8}));
}

void addDocuments(const Seeds& seeds) {
  const auto seed = [&](const std::string& name, const std::string& document) {
    seeds.add(name + ".xml", text(document));
  };
  seed("settings",
       "<?xml version=\"1.0\"?>\n<Configuration>\n <input-file>clip.mov</input-file>\n"
       " <output-file kind='a&amp;b'>out.mp4</output-file>\n</Configuration>\n");
  seed("entities", "<!DOCTYPE a [<!ENTITY e \"text\">]><a>&e;&#65; <b/>&e;</a>");
  seed("cdata", "<a><!-- no --><![CDATA[ <b> ]]><?do nothing?></a>");
  seed("latin", "<?xml version='1.0' encoding='ISO-8859-1'?><a b='\xE9'>\xE9</a>");
  seed("nested", "<a><b><c><d>1</d></c></b><b>2</b></a>");
  seed("not_closed", "<a><b></a>");
}

// The words of an SCC file, each of them the pair of one frame.
void addPairs(const Seeds& seeds) {
  const auto seed = [&](const std::string& name, unsigned field, const std::string& words) {
    Bytes bytes;
    for (std::size_t i = 0; i + 4 <= words.size(); i += 5) {
      const unsigned pair = static_cast<unsigned>(std::stoul(words.substr(i, 4), nullptr, 16));
      append(bytes, concat({u8(4 << 1 | field), u16(pair)}));
    }
    seeds.add(name, bytes);
  };
  seed("pop_on", 0,
       "9420 9420 9452 9452 97a2 97a2 c8e9 91ae 91ae 91b9 9232 9232 942f 942f 8080 942c");
  seed("roll_up", 0, "9425 94ad 9470 61e9 94ad 13d0 62ea 9426 94ad 61e9 9425 94ad 94ad 94ad 942c");
  seed("paint_on", 0, "9429 91d0 61e9 9429 9470 62ea 94a1 94a4 9429 9470 1020 97ae 9428 61e9 942c");
  seed("second_channel", 0, "1c20 1c70 61e9 1c2f 9420 9470 62ea 942f 1cae 1c2c 942c");
  seed("field_2", 1, "1520 15d0 61e9 0131 61e9 62ea 8f1d 1520 62ea 152f 9d29 9d70 61e9 152c 9d2c");
  seed("extended_data", 1, "0183 c1c2 152c 152c 0283 8fea 0501 8f80 0e01 8f80 0501 c180");
  seed("text", 0, "942a 61e9 94ad 942b 62ea 9420 9470 61e9 942f");
  seed("damaged", 0, "9420 9470 e161 6161 0000 94af 942f 9460 9060 0131 942c");
}

void addSccFiles(const Seeds& seeds) {
  const auto seed = [&](const std::string& name, const std::string& lines) {
    seeds.add(name + ".scc", text(std::string(1, '\3') + lines));
  };
  seed("usual",
       "Scenarist_SCC V1.0\r\n\r\n00:00:01;00\t9420 9420 9470 9470 61e9 942f 942f\r\n\r\n"
       "00:00:03;10\t942c 942c\r\n");
  seed("odd",
       "\xEF\xBB\xBFScenarist_SCC V1.0\n00:01:00;00 9420 1470 61E9 8080 "
       "942f\n942c\n00:00:59:45\t942c x\n");
  seed("no_times", "\t9420 9470\n\t6161 6161\n00:00:xx:00\t942f\n");
}

void makeSeeds(const fs::path& folder) {
  addMovies(Seeds(folder / "movies"));
  addFilms(Seeds(folder / "movies"));
  addCaptions(Seeds(folder / "captions"));
  addPictures(Seeds(folder / "sei"));
  addConfigurations(Seeds(folder / "avcc"));
  addDocuments(Seeds(folder / "xml"));
  addPairs(Seeds(folder / "decoder608"));
  addSccFiles(Seeds(folder / "scc"));
}

}  // namespace
}  // namespace quarrypack::test

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: make_seeds FOLDER" << std::endl;
    return 1;
  }
  try {
    quarrypack::test::makeSeeds(argv[1]);
  } catch (const std::exception& exception) {
    std::cerr << "make_seeds: " << exception.what() << std::endl;
    return 1;
  }
  return 0;
}
