#pragma once

#include "embed/film.h"

namespace quarrypack::embed {

// Compares the boxes of a written film with those of its input. All must be there in their order,
// byte for byte, but for what captions change: the caption tracks and what names them, durations
// that were those of caption tracks, forms that were not portable, and the tables that tell where
// samples lie and how large they are. These tables are followed when the samples are compared.
// Media data is not looked at. Each film comes with its moov box. Throws VerificationError, and
// what Movie throws.
void compareBoxes(Film& input, const MovieBox& inputBox, Film& output, const MovieBox& outputBox);

}  // namespace quarrypack::embed
