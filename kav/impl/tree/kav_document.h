#pragma once

#include <boost/smart_ptr/intrusive_ptr.hpp>

#include "kav/impl/bytes/document_stream.h"
#include "kav/impl/tree/root_box.h"

namespace norvik::kav::impl {

// A movie being read: the stream, opened, with the root box over it.
class KavDocument {
 public:
  KavDocument(boost::intrusive_ptr<NorvikIStream> stream, const ProblemHandler& problemHandler)
      : stream_(std::move(stream)), root_(prepare(stream_, problemHandler)) {}

  NorvikKavStream& stream() { return stream_; }

  // The same bytes, for reads that need no blocks.
  NorvikKavStream& source() { return stream_.source(); }
  const NorvikKavStream& stream() const { return stream_; }
  RootBox& root() { return root_; }
  const RootBox& root() const { return root_; }

 private:
  static NorvikKavStream& prepare(NorvikKavStream& stream, const ProblemHandler& problemHandler) {
    stream.setProblemHandler(problemHandler);
    stream.open();
    stream.computeSize();
    return stream;
  }

  DocumentStream stream_;
  RootBox root_;
};

}  // namespace norvik::kav::impl
