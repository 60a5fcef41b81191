#include "companions/captions/caption_documents.h"

#include <algorithm>
#include <cstdint>
#include <utility>

#include "captions/cue_builder.h"
#include "captions/decoder608.h"

namespace quarrypack::companions {
namespace {

using captions::CaptionDocument;
using captions::Channel;
using captions::ChannelCues;
using captions::Field;
using captions::FieldPairs;
using sources::CaptionPairs;

std::string oneOrSeveral(std::uint64_t count, const char* one, const char* several) {
  return std::to_string(count) + (count == 1 ? one : several);
}

std::vector<std::string> findingsOf(const captions::DecoderReport& report) {
  std::vector<std::string> findings;
  if (report.parityErrors > 0) {
    findings.push_back(oneOrSeveral(report.parityErrors,
                                    " byte lacks odd parity and is shown as a solid block",
                                    " bytes lack odd parity and are shown as solid blocks"));
  }
  if (report.unknownCodes > 0) {
    findings.push_back(oneOrSeveral(report.unknownCodes, " code is unknown and does nothing",
                                    " codes are unknown and do nothing"));
  }
  if (report.wrongFieldCommands > 0) {
    findings.push_back(oneOrSeveral(report.wrongFieldCommands,
                                    " command belongs to the other field and does nothing",
                                    " commands belong to the other field and do nothing"));
  }
  if (report.hasExtendedData()) {
    findings.emplace_back("field 2 carries extended data (XDS), which is skipped");
  }
  if (report.textPairs > 0) {
    findings.emplace_back("there is text for the text service, which is skipped");
  }
  return findings;
}

std::vector<ChannelCues> decode(const CaptionPairs& pairs, const CaptionOptions& options,
                                std::vector<std::string>& findings) {
  captions::CueBuilder builder(options.rollUp);
  captions::Decoder608 decoder(builder);
  decoder.decode(Field::one, pairs.fields[0]);
  decoder.decode(Field::two, pairs.fields[1]);
  decoder.finish(pairs.end);
  if (builder.isFull()) throw sources::SourceError("there is more text than any film has");
  findings = findingsOf(decoder.report());
  return builder.takeCues();
}

// Keeps the channels that are to be written.
void pick(std::vector<ChannelCues>& channels, const CaptionOptions& options) {
  if (options.allChannels || channels.empty()) return;
  const Channel wanted = options.channel.value_or(channels.front().channel);
  std::erase_if(channels, [wanted](const ChannelCues& one) { return one.channel != wanted; });
}

class Maker {
 public:
  Maker(CaptionPairs pairs, const CaptionOptions& options)
      : pairs_(std::move(pairs)), options_(options) {}

  CaptionDocuments make() && {
    CaptionDocuments result;
    std::vector<ChannelCues> channels = decode(pairs_, options_, result.findings);
    pick(channels, options_);
    if (channels.empty()) return result;
    if (options_.format->holdsPairs) {
      addFields(channels, result.documents);
    } else if (options_.format->holdsAllChannels) {
      result.documents.push_back({std::nullopt, document(std::move(channels))});
    } else {
      for (ChannelCues& channel : channels) addChannel(std::move(channel), result.documents);
    }
    return result;
  }

 private:
  std::optional<Channel> nameOf(Channel channel) const {
    return options_.allChannels ? std::optional(channel) : std::nullopt;
  }

  CaptionDocument document(std::vector<ChannelCues> channels) const {
    return {options_.input, std::string(pairs_.source), std::move(channels), {}};
  }

  void addChannel(ChannelCues channel, std::vector<NamedDocument>& documents) const {
    const std::optional<Channel> name = nameOf(channel.channel);
    std::vector<ChannelCues> channels;
    channels.push_back(std::move(channel));
    documents.push_back({name, document(std::move(channels))});
  }

  void addFields(const std::vector<ChannelCues>& channels, std::vector<NamedDocument>& documents) {
    for (const ChannelCues& channel : channels) {
      FieldPairs& field = pairs_.of(captions::fieldOf(channel.channel));
      if (field.empty()) continue;  // taken by the other channel of the field
      CaptionDocument one = document({});
      one.pairs = std::exchange(field, {});
      documents.push_back({nameOf(channel.channel), std::move(one)});
    }
  }

  CaptionPairs pairs_;
  const CaptionOptions& options_;
};

}  // namespace

CaptionDocuments makeDocuments(CaptionPairs pairs, const CaptionOptions& options) {
  return Maker(std::move(pairs), options).make();
}

}  // namespace quarrypack::companions
