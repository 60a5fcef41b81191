#include "check/caption_rules.h"

#include "captions/cue_builder.h"
#include "captions/decoder608.h"
#include "check/caption_rule_table.h"
#include "check/coverage.h"
#include "check/cue_rules.h"
#include "check/pair_rules.h"
#include "check/screen_rules.h"

namespace quarrypack::check {

using captions::ChannelCues;
using captions::Field;
using captions::Time;
using sources::CaptionPairs;

namespace {

std::vector<ChannelCues> judgeWhileDecoding(const CaptionPairs& pairs, const PictureFacts& pictures,
                                            Findings& findings) {
  captions::CueBuilder builder;
  ScreenRules screenRules(builder, findings);
  PairRules pairRules(pairs, pictures, findings);
  captions::Decoder608 decoder(screenRules, &pairRules);
  decoder.decode(Field::one, pairs.fields[0]);
  decoder.decode(Field::two, pairs.fields[1]);
  pairRules.finish();
  screenRules.filmEnds();
  decoder.finish(pairs.end);
  if (builder.isFull()) throw sources::SourceError("there is more text than any film has");
  return builder.takeCues();
}

}  // namespace

CheckedCaptions checkCaptions(const CaptionPairs& pairs, const PictureFacts& pictures,
                              Findings& findings) {
  CheckedCaptions result;
  result.channels = judgeWhileDecoding(pairs, pictures, findings);
  for (const ChannelCues& channel : result.channels) judgeCues(channel, findings);
  if (result.channels.empty()) findings.note(kNoCaptions);
  result.coverage =
      coverageOf(result.channels, pictures.shown.value_or(Stretch{Time{0}, pairs.end}));
  return result;
}

}  // namespace quarrypack::check
