#include "kav/impl/tables/composition_table.h"

#include "kav/exception.h"
#include "kav/wrapping.h"

namespace norvik::kav::impl {

void CompositionTable::Loader::add(const OffsetEntry& entry) {
  table_.runs_.add({entry.sampleCount, entry.sampleOffset, nextFirstSample_},
                   entry.sampleCount > 0);
  nextFirstSample_ = wrappingAdd(nextFirstSample_, entry.sampleCount);
  if (nextFirstSample_ < entry.sampleCount) throw Exception(ErrorCode::sampleNumberOverflow);
}

CompositionCursor::CompositionCursor(const CompositionTable& table, std::uint32_t sampleNumber)
    : run_(findRun(table.filled(), sampleNumber)),
      end_(table.filled().data() + table.filled().size()) {
  if (run_ == nullptr) run_ = end_;
  if (isValid()) index_ = wrappingSubtract(sampleNumber, run_->firstSample);
}

}  // namespace norvik::kav::impl
