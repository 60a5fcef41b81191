#pragma once

#include "kav/error_code.h"

namespace norvik::kav {

// Decides whether reading continues after an irregularity. It is called while boxes are read, once
// for each irregularity. A non-zero result continues. Zero stops, and the operation that met the
// irregularity fails with ErrorCode::stoppedByHandler. The function must not throw and must not use
// the stream being read.
using ProblemFunction = int (*)(void* context, Problem problem);

// A handler with its context; without a function every irregularity is tolerated. The caller owns
// the context, which must outlive every stream that carries the handler.
struct ProblemHandler {
  ProblemFunction function = nullptr;  // called for every irregularity; may be null
  void* context = nullptr;             // passed to the function unchanged

  // Whether reading continues after this irregularity.
  bool tolerates(Problem problem) const {
    return function == nullptr || function(context, problem) != 0;
  }
};

}  // namespace norvik::kav
