#pragma once

#include <fstream>
#include <string>
#include <utility>

#include <hoq/HOQFileUploadInfo.h>

namespace HOQ::cli {

/// An upload's record whose bytes come from a file of the caller's, piece by piece.
class LocalFileUpload : public HOQFileUploadInfo {
 public:
  LocalFileUpload(std::string target, std::uint64_t bytes, std::int64_t at,
                  const std::string& localFile)
      : HOQFileUploadInfo(std::move(target), bytes, at), file_(localFile) {}

  int start() override;
  int data(std::size_t count, const char*& block) override;
  int close() override;
  void abort() override { (void)close(); }
  std::string getSource() const override { return file_; }

 private:
  const std::string file_;
  std::ifstream stream_;
  std::string block_;
};

}  // namespace HOQ::cli
