#include "kav/impl/model/box_factory.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "kav/impl/boxes/file_boxes.h"
#include "kav/impl/boxes/fragment_boxes.h"
#include "kav/impl/boxes/media_boxes.h"
#include "kav/impl/boxes/movie_boxes.h"
#include "kav/impl/boxes/random_access_boxes.h"
#include "kav/impl/boxes/description_boxes.h"
#include "kav/impl/boxes/table_boxes.h"
#include "kav/impl/boxes/stbl_box.h"
#include "kav/impl/boxes/track_boxes.h"

namespace norvik::kav::impl {
namespace {

using Maker = BoxPtr (*)(BoxAllocator*, BoxHeader&&, NorvikKavStream&);

template <class T>
BoxPtr make(BoxAllocator* allocator, BoxHeader&& header, NorvikKavStream& stream) {
  return makeBoxIn<T>(allocator, std::move(header), stream);
}

BoxPtr makeUuid(BoxAllocator* allocator, BoxHeader&& header, NorvikKavStream& stream) {
  const Maker maker = header.extendedType == kXmpExtendedType ? make<XMPDataBox> : make<UuidBox>;
  return maker(allocator, std::move(header), stream);
}

struct Entry {
  FourCc type;
  Maker maker;
};

// One line a class, in the order of the rooms of a file; the formatter would set them in columns.
// clang-format off
constexpr Entry kEntries[] = {
    {fourCc("ftyp"), make<FtypBox>},
    {fourCc("mdat"), make<MdatBox>},
    {fourCc("skip"), make<SkipBox>},
    {fourCc("uuid"), makeUuid},
    {fourCc("moov"), make<MoovBox>},
    {fourCc("mvhd"), make<MvhdBox>},
    {fourCc("mvex"), make<MvexBox>},
    {fourCc("mehd"), make<MehdBox>},
    {fourCc("trex"), make<TrexBox>},
    {fourCc("trak"), make<TrakBox>},
    {fourCc("tkhd"), make<TkhdBox>},
    {fourCc("tref"), make<TrefBox>},
    {fourCc("hint"), make<HintBox>},
    {fourCc("edts"), make<EdtsBox>},
    {fourCc("elst"), make<ElstBox>},
    {fourCc("mdia"), make<MdiaBox>},
    {fourCc("mdhd"), make<MdhdBox>},
    {fourCc("hdlr"), make<HdlrBox>},
    {fourCc("minf"), make<MinfBox>},
    {fourCc("vmhd"), make<VmhdBox>},
    {fourCc("smhd"), make<SmhdBox>},
    {fourCc("nmhd"), make<NmhdBox>},
    {fourCc("dinf"), make<DinfBox>},
    {fourCc("dref"), make<DrefBox>},
    {fourCc("url "), make<UrlBox>},
    {fourCc("stsd"), make<StsdBox>},
    {fourCc("stbl"), make<StblBox>},
    {fourCc("stts"), make<SttsBox>},
    {fourCc("ctts"), make<CttsBox>},
    {fourCc("stsc"), make<StscBox>},
    {fourCc("stsz"), make<StszBox>},
    {fourCc("stco"), make<StcoBox>},
    {fourCc("co64"), make<Co64Box>},
    {fourCc("stss"), make<StssBox>},
    {fourCc("sdtp"), make<SdtpBox>},
    {fourCc("moof"), make<MoofBox>},
    {fourCc("mfhd"), make<MfhdBox>},
    {fourCc("traf"), make<TrafBox>},
    {fourCc("tfhd"), make<TfhdBox>},
    {fourCc("trun"), make<TrunBox>},
    {fourCc("afra"), make<AfraBox>},
};
// clang-format on

}  // namespace

BoxPtr BoxFactory::createBox(NorvikKavStream& stream, BoxHeader header, BoxAllocator* allocator) {
  const auto* entry = std::find_if(std::begin(kEntries), std::end(kEntries),
                                   [&](const Entry& e) { return e.type == header.type; });
  const Maker maker = entry == std::end(kEntries) ? make<Box> : entry->maker;
  return maker(allocator, std::move(header), stream);
}

BoxFactory& BoxFactory::defaultFactory() {
  static BoxFactory factory;
  return factory;
}

}  // namespace norvik::kav::impl
