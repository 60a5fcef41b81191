#pragma once

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "captions/cea608.h"
#include "captions/time.h"

// Pairs of caption data as a caption file writes them: "9420 9420 c8e9".
namespace quarrypack::test {

inline std::vector<captions::BytePair> pairsOf(const std::string& hex) {
  std::string digits;
  std::copy_if(hex.begin(), hex.end(), std::back_inserter(digits), [](char c) { return c != ' '; });
  const auto byteAt = [&digits](std::size_t place) {
    return static_cast<std::uint8_t>(std::stoul(digits.substr(place, 2), nullptr, 16));
  };
  std::vector<captions::BytePair> pairs;
  for (std::size_t i = 0; i + 4 <= digits.size(); i += 4) {
    pairs.push_back({byteAt(i), byteAt(i + 2)});
  }
  return pairs;
}

inline std::string hexOf(captions::BytePair pair) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (const std::uint8_t byte : {pair.first, pair.second}) {
    text += kDigits[byte >> 4];
    text += kDigits[byte & 15];
  }
  return text;
}

// The pairs, with a space between two.
template <class Pairs>
std::string hexOf(const Pairs& pairs) {
  std::string text;
  for (const captions::BytePair pair : pairs) text += (text.empty() ? "" : " ") + hexOf(pair);
  return text;
}

inline std::string hexOf(const captions::FieldPairs& field) {
  std::vector<captions::BytePair> pairs;
  for (const captions::TimedPair& pair : field) pairs.push_back(pair.bytes);
  return hexOf(pairs);
}

inline std::vector<captions::Time> timesOf(const captions::FieldPairs& field) {
  std::vector<captions::Time> times;
  for (const captions::TimedPair& pair : field) times.push_back(pair.time);
  return times;
}

// Pairs that follow each other frame by frame.
inline captions::FieldPairs inTurn(const std::string& hex, captions::Time start) {
  captions::FieldPairs field;
  for (const captions::BytePair pair : pairsOf(hex)) {
    field.push_back({start, pair});
    start += captions::kPairTime;
  }
  return field;
}

// The codes of these tests: resume loading, erase the hidden screen, text, erase the screen, show.
inline const std::string kLoad = "9420";
inline const std::string kShow = "942f";
inline const std::string kErase = "942c";

}  // namespace quarrypack::test
