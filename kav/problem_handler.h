#pragma once

#include "kav/error_code.h"

namespace norvik::kav {

// Decides whether reading goes on after an oddity. It is called while boxes are read, once for each
// oddity met. A non-zero answer continues; zero stops, and the operation that met the oddity fails
// with ErrorCode::stoppedByHandler. It must not throw and must not use the stream being read.
using ProblemFunction = int (*)(void* context, Problem problem);

// A handler with its context; without a function every oddity is tolerated. The context belongs to
// the caller and must outlive every stream that carries the handler.
struct ProblemHandler {
  ProblemFunction function = nullptr;  // asked about every oddity; may be null
  void* context = nullptr;             // handed to the function as it is

  // Whether reading goes on after this oddity.
  bool tolerates(Problem problem) const {
    return function == nullptr || function(context, problem) != 0;
  }
};

}  // namespace norvik::kav
