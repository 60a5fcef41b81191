// The order of virtual operations is part of what classes promise: code compiled against one
// version of them calls by slot. Operations of later versions come after these.

#include <gtest/gtest.h>

#include "kav/impl/boxes/description_boxes.h"
#include "kav/impl/boxes/table_boxes.h"
#include "kav/impl/bytes/stream_adapters.h"
#include "kav/impl/model/box.h"
#include "kav/impl/model/box_factory.h"
#include "kav/impl/model/box_iterators.h"
#include "kav/impl/reading/media_iter_creator.h"
#include "kav/impl/reading/sample_iterator.h"
#include "kav/streams.h"
#include "tests/support/virtual_slots.h"

namespace norvik::kav::impl {
namespace {

using quarrypack::test::slotsFrom;
using quarrypack::test::slotsOf;

constexpr std::size_t kLastBoxSlot = 15;

TEST(SlotOrder, OfTheStreamInterfaces) {
  EXPECT_EQ(slotsOf(&NorvikIStream::addRef, &NorvikIStream::release, &NorvikIStream::open,
                    &NorvikIStream::close, &NorvikIStream::read, &NorvikIStream::seek,
                    &NorvikIStream::tell),
            slotsFrom(1, 7));
  EXPECT_EQ(slotsOf(&NorvikIOStream::write, &NorvikIOStream::setSize), slotsFrom(8, 2));
}

TEST(SlotOrder, OfTheStreamAdapter) {
  EXPECT_EQ(slotsOf(&NorvikKavStream::addRef, &NorvikKavStream::release, &NorvikKavStream::open,
                    &NorvikKavStream::write, &NorvikKavStream::readFully, &NorvikKavStream::read,
                    &NorvikKavStream::seek, &NorvikKavStream::setSize, &NorvikKavStream::tell,
                    &NorvikKavStream::computeSize, &NorvikKavStream::size, &NorvikKavStream::close),
            slotsFrom(1, 12));
}

TEST(SlotOrder, OfABox) {
  EXPECT_EQ(slotsOf(&Box::writeHeader, &Box::getSize, &Box::getCurrentSize, &Box::getContentSize,
                    &Box::addChild, &Box::write, &Box::writeContent, &Box::updateContent,
                    &Box::readVersionAndFlags, &Box::readContent, &Box::validate,
                    &Box::getChildRules, &Box::getChild, &Box::resetSize, &Box::readChildren),
            slotsFrom(1, kLastBoxSlot));
}

// The operations of one class of boxes are a row after those of every box.
template <class... Members>
void expectRowAfterTheBox(Members... members) {
  const std::vector<std::size_t> slots = slotsOf(members...);
  EXPECT_GT(slots.front(), kLastBoxSlot);
  EXPECT_EQ(slots, slotsFrom(slots.front(), slots.size()));
}

TEST(SlotOrder, OfWhatTablesAdd) {
  expectRowAfterTheBox(&StszBox::addSampleSize, &StszBox::readSampleSizes);
  expectRowAfterTheBox(&StcoBox::readChunkOffsets);
  expectRowAfterTheBox(&Co64Box::addChunkOffset, &Co64Box::readChunkOffsets);
  expectRowAfterTheBox(&StscBox::addChunk, &StscBox::getChunkCursor, &StscBox::readEntries);
}

TEST(SlotOrder, OfWhatABoxWithPaddingAdds) { expectRowAfterTheBox(&VariableSizeBox::insertChild); }

TEST(SlotOrder, OfTheTableInterfaces) {
  EXPECT_EQ(slotsOf(&ISampleSizeBox::getSampleSizeIterator), slotsFrom(1, 1));
  EXPECT_EQ(slotsOf(&IChunkOffsetBox::getChunkOffsetIterator), slotsFrom(1, 1));
  EXPECT_EQ(slotsOf(&ISyncSampleBox::getSyncSampleCursor), slotsFrom(1, 1));
}

// The two families differ.
TEST(SlotOrder, OfTheTableIterators) {
  EXPECT_EQ(slotsOf(&SampleSizeIterator::getSampleSize, &SampleSizeIterator::isValid,
                    &SampleSizeIterator::next),
            slotsFrom(1, 3));
  EXPECT_EQ(slotsOf(&ChunkOffsetIterator::isValid, &ChunkOffsetIterator::next,
                    &ChunkOffsetIterator::getOffset),
            slotsFrom(1, 3));
}

TEST(SlotOrder, OfTheSampleIterator) {
  EXPECT_EQ(slotsOf(&SampleIterator::hasNext, &SampleIterator::next, &SampleIterator::take),
            slotsFrom(1, 3));
}

TEST(SlotOrder, OfTheMakerOfMediaIterators) {
  EXPECT_EQ(slotsOf(&IMediaIterCreator::createMediaIterator, &IMediaIterCreator::createEmptySample),
            slotsFrom(1, 2));
}

TEST(SlotOrder, OfTheBoxFactory) { EXPECT_EQ(slotsOf(&BoxFactory::createBox), slotsFrom(1, 1)); }

}  // namespace
}  // namespace norvik::kav::impl
