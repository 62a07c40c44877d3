// The records of uploads and downloads.
#include <hoq/HOQFileTransferInfo.h>

#include <utility>

#include <hoq/HOQFileDownloadData.h>
#include <hoq/HOQFileUploadData.h>

namespace HOQ {

HOQFileTransferInfo::HOQFileTransferInfo(std::string filePath, std::uint64_t bytes,
                                         std::int64_t start)
    : path(std::move(filePath)), size(bytes), offset(start) {}
HOQFileTransferInfo::~HOQFileTransferInfo() = default;
int HOQFileTransferInfo::start() { return 0; }
int HOQFileTransferInfo::close() { return 0; }
void HOQFileTransferInfo::abort() {}

HOQFileUploadInfo::~HOQFileUploadInfo() = default;
std::string HOQFileUploadInfo::getSource() const { return ""; }
std::string HOQFileUploadInfo::getDestination() const { return path; }

HOQFileDownloadInfo::~HOQFileDownloadInfo() = default;
std::string HOQFileDownloadInfo::getSource() const { return path; }
std::string HOQFileDownloadInfo::getDestination() const { return ""; }

HOQFileUploadData::~HOQFileUploadData() = default;

int HOQFileUploadData::start() {
  taken_ = 0;
  return 0;
}

int HOQFileUploadData::data(std::size_t count, const char*& block) {
  if (count > contents.size() - taken_) return -1;
  block = contents.data() + taken_;
  taken_ += count;
  return 0;
}

HOQFileDownloadData::~HOQFileDownloadData() = default;

int HOQFileDownloadData::start() {
  contents.clear();
  return 0;
}

int HOQFileDownloadData::append(const char* bytes, std::size_t count) {
  contents.append(bytes, count);
  return 0;
}

}  // namespace HOQ
