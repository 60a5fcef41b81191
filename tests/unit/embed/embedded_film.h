#pragma once

#include <string>
#include <utility>

#include "embed/embedding.h"
#include "embed/refusal.h"
#include "tests/support/media_samples.h"
#include "tests/support/memory_stream.h"
#include "tests/support/movie_builder.h"

// Captions put into films in memory.
namespace quarrypack::test {

inline MemoryStreamPtr opened(Bytes file) {
  const MemoryStreamPtr stream = MemoryStream::create(std::move(file));
  stream->open();
  return stream;
}

// A pop-on caption of one letter, shown at once: load, row, "A", show.
inline const Bytes kPopOn = {0x94, 0x20, 0x94, 0xE0, 0xC1, 0x80, 0x94, 0x2F};

inline MovieBuilder captionedMovie() {
  MovieTrack captions = captionTrack(
      CaptionTrackOptions{.samples = {cdat(kPopOn), cdat({0x94, 0x2C})}, .duration = 8 * 1001});
  return MovieBuilder({videoTrack({.count = 20, .betweenAnchors = 1}), soundTrack(), captions});
}

// Puts captions into a film in memory.
class Embedded {
 public:
  explicit Embedded(const Bytes& file, embed::EmbedSettings settings = {})
      : input_(opened(file)),
        film_(opened(file)),
        embedding_(film_, std::move(settings)),
        output_(opened({})) {
    embedding_.write(*input_, *output_);
  }

  const embed::EmbedResult& result() const { return embedding_.result(); }
  Bytes& bytes() { return output_->bytes(); }
  void verify() { verifyInstead(output_->bytes()); }

  // With another film in place of what was written.
  void verifyInstead(const Bytes& written) { embedding_.verify(opened(written)); }

 private:
  MemoryStreamPtr input_;
  embed::Film film_;
  embed::Embedding embedding_;
  MemoryStreamPtr output_;
};

inline std::string refusalOf(const Bytes& file, embed::EmbedSettings settings = {}) {
  try {
    Embedded embedded(file, std::move(settings));
  } catch (const embed::Refusal& refusal) {
    return refusal.what();
  }
  return "not refused";
}

inline bool contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

}  // namespace quarrypack::test
