#include "kav/impl/tree/root_box.h"

#include <algorithm>
#include <utility>

#include "kav/exception.h"
#include "kav/impl/boxes/file_boxes.h"
#include "kav/impl/boxes/fragment_boxes.h"
#include "kav/impl/boxes/movie_boxes.h"
#include "kav/impl/tree/known_boxes.h"

namespace norvik::kav::impl {

RootBox::RootBox(NorvikKavStream& stream, BoxFactory* factory, BoxAllocator* allocator)
    : Box(fourCc("root"), stream),
      factory_(factory != nullptr ? *factory : knownBoxes()),
      childAllocator_(allocator) {
  setLengths(0);
}

Box* RootBox::getChild(std::size_t index) {
  while (index >= loadedCount()) {
    if (readNextBox() == nullptr) return nullptr;
  }
  return Box::getChild(index);
}

void RootBox::addChild(BoxPtr child) {
  if (auto* movie = childAs<MoovBox>(*child)) movie_ = movie;
  if (auto* metadata = childAs<XMPDataBox>(*child)) metadata_ = metadata;
  if (auto* fragment = childAs<MoofBox>(*child)) directory_.add(*fragment, loadedCount());
  Box::addChild(std::move(child));
}

// Media data may state an end that no stream can reach.
void RootBox::seekToEnd(std::uint64_t end) { stream().seekTo(std::min(end, stream().size())); }

void RootBox::fetchMovie(const Box& fragment) {
  const std::uint64_t position = stream().tell();
  stream().seekTo(fragment.end());
  std::optional<BoxHeader> header = findTopLevelBox(stream(), fourCc("moov"));
  if (!header) throw Exception(ErrorCode::noMovie);
  BoxPtr box = factory_.createBox(stream(), std::move(*header), childAllocator_);
  auto* movie = box == nullptr ? nullptr : childAs<MoovBox>(*box);
  if (movie == nullptr) throw Exception(ErrorCode::noMovie);
  readChildHeaders(readContext(), *movie);
  movie->readBody(*this, true);
  waitingMovie_ = std::move(box);
  movie_ = movie;
  stream().seekTo(position);
}

Box* RootBox::readNextBox() {
  stream().computeSize();
  seekToEnd(start() + extent());
  std::optional<BoxHeader> header = readBoxHeader(stream(), nullptr);
  if (!header) return nullptr;
  if (header->type == fourCc("moov") && movie_ != nullptr) {
    if (waitingMovie_ == nullptr || movie_->start() != header->start) {
      throw Exception(ErrorCode::secondMovie);
    }
    addChild(std::move(waitingMovie_));
    return movie_;
  }
  BoxPtr box = factory_.createBox(stream(), std::move(*header), childAllocator_);
  if (box == nullptr) return nullptr;
  // A fragment is useless without its movie, so a missing movie is reported first.
  if (box->type() == fourCc("moof") && movie_ == nullptr) fetchMovie(*box);
  readChildHeaders(readContext(), *box);
  box->readBody(*this, true);
  addChild(std::move(box));
  return children().back().get();
}

MoovBox* RootBox::readMovie() {
  while (movie_ == nullptr || waitingMovie_ != nullptr) {
    if (readNextBox() == nullptr) return nullptr;
  }
  return movie_;
}

BoxIteratorByType RootBox::findFragment(std::uint32_t trackId, std::uint64_t time) {
  std::int32_t index = -1;
  do {
    if (movie_ != nullptr) index = directory_.findTime(trackId, time, *movie_);
  } while (index < 0 && readNextBox() != nullptr);
  return {*this, fourCc("moof"), index};
}

const FragmentDirectory::Place* RootBox::fragmentOf(std::uint32_t trackId, std::size_t index) {
  for (;;) {
    const FragmentDirectory::Place* place = directory_.find(trackId, index);
    if (place != nullptr || readNextBox() == nullptr) return place;
  }
}

XMPDataBox* RootBox::readMetadata() {
  while (metadata_ == nullptr && readNextBox() != nullptr) {
  }
  return metadata_;
}

}  // namespace norvik::kav::impl
