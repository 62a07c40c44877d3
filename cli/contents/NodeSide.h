#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "News.h"
#include "Node.h"
#include "contents/Interruption.h"
#include "contents/Side.h"

namespace HOQ::cli {

/// The files of a node, by requests to its Filer and nothing else.
class NodeSide : public Side {
 public:
  /// Neither is owned. `followLinks`: in listings links stand for what they lead to. Used by the
  /// thread that made it, which may be another one than the node's.
  NodeSide(Node& node, const Interruption& interruption, bool followLinks);

  Entries list(const std::string& directory) override;
  std::map<std::string, Attributes> examine(const std::string& directory,
                                            const std::vector<std::string>& names,
                                            bool follow) override;
  void read(std::vector<ReadPiece>& pieces) override;
  void write(std::vector<WritePiece>& pieces) override;
  std::int64_t makeDirectory(const std::string& path, std::uint32_t mode) override;
  bool makePrivate(const std::string& outer, const std::string& inner) override;
  void chmod(const std::vector<std::string>& paths, std::uint32_t mode) override;
  std::uint32_t reduced(std::uint32_t mode) const override { return mode & madeMode_; }
  bool keepsTimes() const override { return false; }
  void setTime(const std::string&, std::int64_t) override {}
  void settle(const std::string&, const std::vector<std::string>&) override {}
  void moveInto(const std::vector<std::string>& paths, const std::string& directory,
                bool replace) override;
  void renameDirectory(const std::string& from, const std::string& to) override;
  void remove(const std::string& path, bool tree) override;

 private:
  using Request = std::function<int(HOQFiler& filer)>;

  int ask(const std::string& directory, const Request& request);
  void require(const std::string& path, const Request& request);
  std::string firstError(const std::string& path) const;
  void takePieces(std::vector<ReadPiece>& pieces, std::size_t begin);
  void learnMadeMode(const std::string& directory);

  Node& node_;
  const Interruption& interruption_;
  const bool followLinks_;
  const std::unique_ptr<Node::Stay> stay_;
  News::Counter items_{0};
  const NewsPtr news_;
  std::vector<std::string> errors_;  // of the last request
  std::uint32_t madeMode_ = 0777;    // of a directory that the node makes
  bool learned_ = false;             // that mode
};

}  // namespace HOQ::cli
