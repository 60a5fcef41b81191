#include "kav/writer.h"

#include <optional>
#include <span>
#include <utility>

#include "kav/exception.h"
#include "kav/impl/writing/writer.h"

namespace norvik::kav {
namespace {

impl::MovieParameters movieParameters(const NorvikKavWriterConfiguration& configuration) {
  impl::MovieParameters movie;
  movie.creationTime = configuration.creationTime;
  movie.modificationTime = configuration.modificationTime;
  movie.timescale = configuration.timescale;
  movie.rate = configuration.rate;
  movie.volume = configuration.volume;
  return movie;
}

std::optional<impl::FragmentParameters> fragmentParameters(
    const NorvikKavWriterConfiguration& configuration) {
  if (!configuration.fragmented) return std::nullopt;
  impl::FragmentParameters fragments;
  fragments.duration = configuration.fragmentDuration;
  fragments.hasRandomAccess = configuration.randomAccess;
  return fragments;
}

impl::TrackParameters trackParameters(const NorvikKavTrackConfiguration& configuration) {
  impl::TrackParameters track;
  const NorvikKavTrackInfo& info = configuration.info;
  track.handlerType = configuration.handlerType;
  track.handlerName.assign(configuration.handlerName.begin(), configuration.handlerName.end());
  track.handlerName.push_back(0);
  track.timescale = info.mediaTimescale;
  track.creationTime = info.creationTime;
  track.modificationTime = info.modificationTime;
  track.width = info.width;
  track.height = info.height;
  track.volume = info.volume;
  track.language = info.language;
  track.hintedTrackIds = configuration.hintedTracks;
  track.editCapacity = configuration.gapCount;
  track.sampleCapacity = configuration.sampleCount;
  track.hasSampleDependencies = (info.flags & kTrackHasSampleDependencies) != 0;
  track.descriptionCount = configuration.descriptionCount;
  track.descriptionLength = configuration.descriptionLength;
  return track;
}

}  // namespace

Writer::Writer(NorvikIOStream* stream, const NorvikKavWriterConfiguration& configuration)
    : impl_(std::make_unique<impl::Writer>(boost::intrusive_ptr<NorvikIOStream>(stream),
                                           movieParameters(configuration),
                                           fragmentParameters(configuration))) {}

Writer::Writer(Writer&&) noexcept = default;
Writer& Writer::operator=(Writer&&) noexcept = default;
Writer::~Writer() = default;

std::uint32_t Writer::addTrack(const NorvikKavTrackConfiguration& configuration) {
  return impl_->addTrack(trackParameters(configuration));
}

void Writer::addSampleDescription(std::uint32_t trackNumber, const SampleDescription& description) {
  impl_->addSampleDescription(trackNumber, description.descriptor());
}

void Writer::addSampleDescription(std::uint32_t trackNumber,
                                  const NorvikKavSampleDescription* description) {
  impl_->requireOpen();
  if (description == nullptr) throw Exception(ErrorCode::missingArgument);
  addSampleDescription(trackNumber, description->description);
}

void Writer::addSample(const SampleToWrite& sample) {
  impl_->requireOpen();
  if (sample.size != 0 && sample.data == nullptr) throw Exception(ErrorCode::missingArgument);
  impl_->addSample(sample);
}

void Writer::setXMPMetadata(const void* bytes, std::size_t size) {
  impl_->requireOpen();
  if (size != 0 && bytes == nullptr) throw Exception(ErrorCode::missingArgument);
  impl_->setXMPMetadata({static_cast<const std::uint8_t*>(bytes), size});
}

void Writer::finish() { impl_->finish(); }

}  // namespace norvik::kav
