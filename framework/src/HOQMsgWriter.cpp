#include <hoq/HOQMsgWriter.h>

namespace HOQ {
namespace {

class FileTypesWriter final : public HOQMsgWriter {
 public:
  FileTypesWriter(const HOQMsgSink::FileTypes* records, int tag) : records_(records), tag_(tag) {}

  void write(HOQMsgSink& sink) const override { sink.fileTypes(tag_, *records_); }

 private:
  const HOQMsgSink::FileTypes* records_;  // not owned
  int tag_;
};

}  // namespace

HOQMsgSink::~HOQMsgSink() = default;
HOQMsgWriter::~HOQMsgWriter() = default;

HOQMsgWriter* newHOQWriterData(const HOQMsgSink::FileTypes* records, int tag) {
  return new FileTypesWriter(records, tag);
}

}  // namespace HOQ
