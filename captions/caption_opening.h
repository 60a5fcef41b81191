#pragma once

#include <cstddef>

#include "captions/cea608.h"
#include "captions/time.h"

namespace quarrypack::captions {

// Removes the pairs of a field that are due before a film begins, except those on which its first
// captions depend: what is on the screen then, what is being loaded, and the code of the mode that
// later pairs continue. The remaining pairs keep their times and their order.
void dropBeforeStart(FieldPairs& field, Time start);

}  // namespace quarrypack::captions
