#pragma once

#include <boost/smart_ptr/make_shared.hpp>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

#include <hoq/HOQFileDownloadData.h>
#include <hoq/HOQFileUploadData.h>
#include <hoq/HOQFiler.h>

#include "updownload/HOQFileUpDownload.h"

namespace HOQ::test {

constexpr std::uint64_t kUnknown = 0xFFFFFFFFFFFFFFFF;

/// How one file goes: what it announces, what its pieces move (below 0: failure), and the codes of
/// opening and closing.
struct FileScript {
  std::string path;
  std::uint64_t size;
  std::vector<int> pieces = {};
  std::optional<std::uint64_t> learned = std::nullopt;  // its size, at the opening
  int openCode = 0;
  int closeCode = 0;
};

/// The engine with files that only exist in a script; what is asked of them is written down.
template <class List>
class EngineFake : public HOQFileUpDownload<List> {
 public:
  using Engine = HOQFileUpDownload<List>;
  using Item = std::conditional_t<std::is_same_v<List, HOQFiler::UploadList>, HOQFileUploadData,
                                  HOQFileDownloadData>;

  static List itemsOf(const std::vector<FileScript>& files) {
    List list;
    for (const FileScript& file : files)
      list.push_back(boost::make_shared<Item>(file.path, file.size, 0));
    return list;
  }

  /// `list` is that of `files`; both are not owned and outlive this object.
  EngineFake(const std::vector<FileScript>& files, const List& list, HOQRequestHandlerPtr receiver,
             bool reports = true)
      : Engine("fake", &list, HOQFilerOptions(0x5), HOQSecurityAttributes(0640), receiver, reports),
        files_(files) {}

  int openFile() override {
    note("open");
    if (file().openCode != 0) {
      setErrorMessage("cannot open 100%% of %s", file().path);
      return file().openCode;
    }
    piece_ = 0;
    if (file().learned) (*this->current)->size = *file().learned;
    return 0;
  }

  int processFile() override {
    note("move");
    const int moved = piece_ < file().pieces.size() ? file().pieces[piece_++] : -1;
    if (moved < 0) setErrorMessage("cannot move %s", file().path);
    return moved;
  }

  int closeFile() override {
    note("close");
    if (file().closeCode != 0) setErrorMessage("cannot close %s", file().path);
    const int closed = Engine::closeFile();
    return file().closeCode != 0 ? file().closeCode : closed;
  }

  using Engine::current;
  using Engine::fileSize;
  using Engine::fileStarted;
  using Engine::handler;
  using Engine::items;
  using Engine::lastError;
  using Engine::optionFlags;
  using Engine::progress;
  using Engine::remaining;
  using Engine::reportsProgress;
  using Engine::securityAttributes;
  using Engine::state;
  using Engine::totalBytes;
  using Engine::totalProgressBytes;

  std::string calls;  // "open a, move a, close a"

 private:
  const FileScript& file() const {
    return files_[static_cast<std::size_t>(this->current - this->items->begin())];
  }
  void note(const char* call) {
    if (!calls.empty()) calls += ", ";
    calls += std::string(call) + " " + file().path;
  }

  const std::vector<FileScript>& files_;
  std::size_t piece_ = 0;
};

/// A parameter of a record as text; empty when it is not there.
inline std::string parameterOf(const HOQRequestProgressData& record, const std::string& name) {
  for (const auto& parameter : record.parameters) {
    if (parameter.name != name) continue;
    if (const auto* text = std::get_if<std::string>(&parameter.value)) return *text;
    if (const auto* number = std::get_if<std::uint64_t>(&parameter.value))
      return std::to_string(*number);
    return std::to_string(std::get<std::uint32_t>(parameter.value));
  }
  return "";
}

/// A record in one line: "STATUS PERCENT: total PERCENT BYTES/ALL, file ID/ALL: PERCENT
/// BYTES/SIZE", with "-" for a total percentage that is not there.
inline std::string asLine(const HOQRequestProgressData& record) {
  const auto value = [&record](const char* name) { return parameterOf(record, name); };
  const std::string total = value("total_progress_percent");
  return record.status + " " + std::to_string(record.percent) + ": total " +
         (total.empty() ? "-" : total) + " " + value("total_progress_bytes") + "/" +
         value("total_bytes") + ", file " + value("current_file_id") + "/" + value("total_files") +
         ": " + value("current_progress_percent") + " " + value("current_progress_bytes") + "/" +
         value("current_file_size");
}

}  // namespace HOQ::test
