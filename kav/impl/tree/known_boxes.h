#pragma once

#include "kav/impl/model/box_factory.h"

namespace norvik::kav::impl {

// The factory of all boxes that the library has a class for; documents without a factory of their
// own use it. It is made on first use and lives as long as the process.
BoxFactory& knownBoxes();

}  // namespace norvik::kav::impl
