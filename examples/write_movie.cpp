// Writes a movie of two seconds: a square that fades from black to blue, uncompressed.
// usage: write_movie MOVIE [fragmented]

#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <iostream>
#include <string>
#include <vector>

#include "kaf/kav_stream.h"
#include "kaf/open_mode.h"
#include "kav/exception.h"
#include "kav/writer.h"

namespace {

namespace kav = norvik::kav;
using quell::kaf::OpenMode;
using quell::kafpkgutil::KavStream;

constexpr std::uint32_t fourCharacterCode(const char (&text)[5]) {
  std::uint32_t code = 0;
  for (int i = 0; i < 4; ++i) code = code << 8 | static_cast<unsigned char>(text[i]);
  return code;
}

constexpr std::uint32_t kVideo = fourCharacterCode("vide");
constexpr std::uint16_t kSide = 64;       // pixels
constexpr std::uint32_t kPictures = 50;   // 25 a second
constexpr std::uint32_t kTimescale = 25;  // one unit for a picture

std::uint32_t addVideoTrack(kav::Writer& writer) {
  kav::NorvikKavTrackConfiguration track;
  track.handlerType = kVideo;
  track.handlerName = "Square";
  track.info.mediaTimescale = kTimescale;
  track.info.width = kSide;
  track.info.height = kSide;
  track.info.language = {'u', 'n', 'd', '\0'};
  track.sampleCount = kPictures;  // the room that is reserved before the pictures
  track.descriptionCount = 1;
  const std::uint32_t number = writer.addTrack(track);

  // The format of the pictures: red, green and blue, one byte each.
  kav::NorvikKavVideoSampleDescInfo info;
  info.codecType = fourCharacterCode("raw ");
  info.handlerType = kVideo;
  info.width = kSide;
  info.height = kSide;
  writer.addSampleDescription(number, kav::SampleDescription(info, {}));
  return number;
}

void writeMovie(const char* path, bool fragmented) {
  // The library moves tables that it has written, so the stream must also be readable.
  const boost::intrusive_ptr<KavStream> stream(new KavStream(
      path, OpenMode::kReadWrite | OpenMode::kCreate | OpenMode::kTruncate | OpenMode::kBinary));
  kav::NorvikKavWriterConfiguration movie;
  movie.timescale = 1000;
  movie.fragmented = fragmented;
  movie.fragmentDuration = 1000;  // a second
  movie.randomAccess = true;
  kav::Writer writer(stream.get(), movie);
  const std::uint32_t track = addVideoTrack(writer);
  std::vector<std::uint8_t> picture(kSide * kSide * 3);
  for (std::uint32_t i = 0; i < kPictures; ++i) {
    for (std::size_t blue = 2; blue < picture.size(); blue += 3) {
      picture[blue] = static_cast<std::uint8_t>(i * 5);
    }
    writer.addSample({.trackNumber = track,
                      .descriptionIndex = 1,
                      .decodingTime = i,
                      .compositionOffset = 0,
                      .flags = kav::kSampleIsSync,
                      .size = static_cast<std::uint32_t>(picture.size()),
                      .data = picture.data()});
  }
  writer.finish();
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2 && argc != 3) {
    std::cerr << "usage: write_movie MOVIE [fragmented]\n";
    return 2;
  }
  try {
    writeMovie(argv[1], argc == 3 && std::string(argv[2]) == "fragmented");
  } catch (const kav::Exception& exception) {
    std::cerr << "write_movie: error " << exception.code() << '\n';
    return 1;
  }
  return 0;
}
