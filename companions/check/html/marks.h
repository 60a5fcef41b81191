#pragma once

#include <string>

#include "check/finding.h"
#include "companions/html.h"

namespace quarrypack::companions {

// The shapes of findings: a cross for errors, a triangle for warnings, a ring for the rest. Colours
// repeat what the shapes show. A page defines each shape once and refers to it everywhere else.
void defineMarks(Html& html);

// "#mark-error"; the shape is 12 units wide and high, its centre at 0, 0.
std::string markReference(check::Severity severity);

// The shape, as wide as a letter of the text around it.
void writeMark(Html& html, check::Severity severity);

}  // namespace quarrypack::companions
