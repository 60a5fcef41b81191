#include "kav/impl/tree/known_boxes.h"

#include <utility>

#include "kav/impl/boxes/description_boxes.h"
#include "kav/impl/boxes/file_boxes.h"
#include "kav/impl/boxes/fragment_boxes.h"
#include "kav/impl/boxes/media_boxes.h"
#include "kav/impl/boxes/movie_boxes.h"
#include "kav/impl/boxes/random_access_boxes.h"
#include "kav/impl/boxes/stbl_box.h"
#include "kav/impl/boxes/table_boxes.h"
#include "kav/impl/boxes/track_boxes.h"

namespace norvik::kav::impl {
namespace {

template <class T>
BoxPtr make(BoxAllocator* allocator, BoxHeader&& header, NorvikKavStream& stream) {
  return makeBoxIn<T>(allocator, std::move(header), stream);
}

BoxPtr makeUuid(BoxAllocator* allocator, BoxHeader&& header, NorvikKavStream& stream) {
  const BoxMaker maker = header.extendedType == kXmpExtendedType ? make<XMPDataBox> : make<UuidBox>;
  return maker(allocator, std::move(header), stream);
}

// One class a line, in the order in which a file holds them; the formatter would arrange them in
// columns.
// clang-format off
constexpr KnownBox kKnownBoxes[] = {
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

BoxFactory& knownBoxes() {
  static BoxFactory factory(kKnownBoxes);
  return factory;
}

}  // namespace norvik::kav::impl
