#pragma once

#include "kav/error_code.h"

namespace norvik::kav {

// Decides whether reading continues after an irregularity. It is called while boxes are read, once
// for each irregularity met. A non-zero answer continues; zero stops, and the operation that met it
// fails with ErrorCode::stoppedByHandler. It must not throw and must not use the stream being read.
using ProblemFunction = int (*)(void* context, Problem problem);

// A handler with its context; without a function every irregularity is tolerated. The context
// belongs to the caller and must outlive every stream that carries the handler.
struct ProblemHandler {
  ProblemFunction function = nullptr;  // asked about every irregularity; may be null
  void* context = nullptr;             // handed to the function as it is

  // Whether reading continues after this irregularity.
  bool tolerates(Problem problem) const {
    return function == nullptr || function(context, problem) != 0;
  }
};

}  // namespace norvik::kav
