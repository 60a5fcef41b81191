#pragma once

#include <vector>

#include "kav/problem_handler.h"

namespace quarrypack::test {

// A problem handler that gives one answer to every question and records the questions.
struct ProblemAnswers {
  int answer = 1;  // 0 stops the reading
  std::vector<norvik::kav::Problem> asked = {};

  norvik::kav::ProblemHandler handler() {
    return {[](void* context, norvik::kav::Problem problem) {
              auto& self = *static_cast<ProblemAnswers*>(context);
              self.asked.push_back(problem);
              return self.answer;
            },
            this};
  }
};

}  // namespace quarrypack::test
