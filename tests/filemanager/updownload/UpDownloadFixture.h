#pragma once

#include <boost/smart_ptr/make_shared.hpp>
#include <string>
#include <vector>

#include <hoq/HOQFileDownloadData.h>
#include <hoq/HOQFileUploadData.h>

#include "filemanager/operations/OperationsFixture.h"
#include "filemanager/updownload/EngineFake.h"
#include "support/Isolation.h"

namespace HOQ::test {

using UploadPtr = boost::shared_ptr<HOQFileUploadData>;
using DownloadPtr = boost::shared_ptr<HOQFileDownloadData>;

inline UploadPtr uploadOf(const std::string& path, const std::string& contents,
                          std::int64_t offset = 0) {
  auto item = boost::make_shared<HOQFileUploadData>(path, contents.size(), offset);
  item->contents = contents;
  return item;
}

inline DownloadPtr downloadOf(const std::string& path, std::uint64_t size = 0,
                              std::int64_t offset = 0) {
  return boost::make_shared<HOQFileDownloadData>(path, size, offset);
}

/// A place with a tree, and uploads to and downloads from it.
class UpDownloadFixture : public OperationsFixture {
 protected:
  /// What a Filer returned and said.
  struct Told {
    int code;
    Texts errors;   // "CODE TEXT"
    Texts records;  // asLine()
  };

  Told upload(const HOQFiler::UploadList& items, int options = 0, int mode = 0644) {
    ScriptedFiler filer(cwd, maker);
    filer.setCred(credentials);
    const int code = filer.upload(items, HOQFilerOptions(options), HOQSecurityAttributes(mode),
                                  HOQFiler::HandlerDelegate(), nullptr);
    return told(filer, code);
  }

  Told download(const HOQFiler::DownloadList& items, int options = 0) {
    ScriptedFiler filer(cwd, maker);
    const int code = filer.download(items, HOQFilerOptions(options), HOQSecurityAttributes(0),
                                    HOQFiler::HandlerDelegate(), nullptr);
    return told(filer, code);
  }

  static Told told(const ScriptedFiler& filer, int code) {
    Told outcome{code, {}, {}};
    for (const auto& error : filer.handler->errors)
      outcome.errors.push_back(std::to_string(error.code) + " " + error.message);
    for (const auto& record : filer.handler->progressRecords)
      outcome.records.push_back(asLine(record));
    return outcome;
  }

  std::string cwd = dir.path();
  HOQUserCredentials credentials{HOQUserCredentials::kNone, HOQUserCredentials::kNone};
  const UmaskGuard mask{022};
};

}  // namespace HOQ::test
