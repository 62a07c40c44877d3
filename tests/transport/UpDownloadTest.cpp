#include <gtest/gtest.h>
#include <hoq/HOQErrorMessage.h>
#include <hoq/HOQFileDownloadData.h>
#include <hoq/HOQFileUploadData.h>

#include <fstream>
#include <sstream>

#include "support/ScriptedFiler.h"
#include "support/Trees.h"
#include "transport/FilerOnNode.h"

namespace HOQ::test {
namespace {

using namespace transport;
using Strings = std::vector<std::string>;

/// A client's end of which one call fails. Says what it was called for.
template <class Base>
class Failing : public Base {
 public:
  Failing(const std::string& where, std::uint64_t bytes, std::string call)
      : Base(where, bytes, 0), call_(std::move(call)) {}
  int start() override { return turn("start") ? -1 : Base::start(); }
  int close() override { return turn("close") ? -1 : Base::close(); }
  void abort() override { (void)turn("abort"); }

  Strings calls;

 protected:
  bool turn(const std::string& call) {
    calls.push_back(call);
    if (call != call_) return false;
    setErrorMessage("cannot %s", call);
    return true;
  }

 private:
  const std::string call_;
};

class FailingDownload : public Failing<HOQFileDownloadData> {
 public:
  using Failing::Failing;
  int append(const char* bytes, std::size_t count) override {
    return turn("append") ? -1 : HOQFileDownloadData::append(bytes, count);
  }
};

class FailingUpload : public Failing<HOQFileUploadData> {
 public:
  using Failing::Failing;
  int data(std::size_t count, const char*& block) override {
    return turn("data") ? -1 : HOQFileUploadData::data(count, block);
  }
};

struct Outcome {
  int code;
  Strings errors;
  std::string last;  // what the client's end was called for at the end
};

template <class Run>
void compare(const std::string& what, const Run& run) {
  SCOPED_TRACE(what);
  const TempDir root;
  trees::make(root.path(), "f=contents");
  const auto outcomeOf = [&](HOQFiler& filer, CollectingHandler& news) {
    filer.setCwd(root.path());
    Outcome outcome = run(filer, root.path());
    outcome.errors = news.messages();
    return outcome;
  };
  Outcome local;
  {
    const Rights rights(true, true);
    ScriptedFiler filer("");
    local = outcomeOf(filer, *filer.handler);
  }
  OnNode<> node;
  const Outcome remote = outcomeOf(*node.filer, *node.handler);
  EXPECT_EQ(remote.code, local.code);
  EXPECT_EQ(remote.errors, local.errors);
  EXPECT_EQ(remote.last, local.last);
}

TEST(DownloadFromNode, FailsAsInProcessWhereTheClientsEndDoes) {
  for (const char* call : {"start", "append", "close", "nothing"})
    compare(call, [call](HOQFiler& filer, const std::string&) {
      const auto item = boost::make_shared<FailingDownload>("f", 0, call);
      const int code = filer.download({item}, 0, HOQSecurityAttributes(0), {}, nullptr);
      return Outcome{code, {}, item->calls.back()};
    });
}

TEST(UploadToNode, FailsAsInProcessWhereTheClientsEndDoes) {
  for (const char* call : {"start", "data", "close", "nothing"})
    compare(call, [call](HOQFiler& filer, const std::string& root) {
      const auto item = boost::make_shared<FailingUpload>(root + "/u", 3, call);
      item->contents = "abc";
      const int code = filer.upload({item}, 1, HOQSecurityAttributes(0640), {}, nullptr);
      return Outcome{code, {}, item->calls.back()};
    });
}

class Ending : public HOQFilerBase::FileOperationControlHandler {
 public:
  bool wantsEnd() const override { return true; }
};

TEST(UploadToNode, EndsWhenItsControlWantsTheEnd) {
  const TempDir root;
  OnNode<> node;
  boost::intrusive_ptr<HOQFilerBase::FileOperationControlHandler> control(new Ending);
  const auto item = boost::make_shared<HOQFileUploadData>(root / "u", 3, 0);
  item->contents = "abc";
  EXPECT_EQ(node.filer->upload({item}, 0, HOQSecurityAttributes(0640), {}, &control), -1);
  EXPECT_EQ(node.handler->messages(), Strings{"The transfer was ended by the client"});
  EXPECT_EQ(node.filer->failure(), NodeFailure::kNone);
}

TEST(DownloadFromNode, EndsWhenItsControlWantsTheEnd) {
  const TempDir root;
  trees::make(root.path(), "f=contents");
  OnNode<> node;
  node.filer->setCwd(root.path());
  boost::intrusive_ptr<HOQFilerBase::FileOperationControlHandler> control(new Ending);
  const auto item = boost::make_shared<HOQFileDownloadData>("f", 0, 0);
  EXPECT_EQ(node.filer->download({item}, 0, HOQSecurityAttributes(0), {}, &control), -1);
  EXPECT_EQ(node.handler->messages(), Strings{"The transfer was ended by the client"});
}

/// Bytes that are made as they are asked for.
class EndlessUpload : public HOQFileUploadInfo {
 public:
  using HOQFileUploadInfo::HOQFileUploadInfo;
  int data(std::size_t count, const char*& block) override {
    largest = std::max(largest, count);
    block_.resize(count);
    for (std::size_t i = 0; i < count; ++i) block_[i] = static_cast<char>((at_ + i) * 7 / 5);
    at_ += count;
    block = block_.data();
    return 0;
  }
  std::size_t largest = 0;

 private:
  std::string block_;
  std::size_t at_ = 0;
};

TEST(UploadToNode, NeedsNoMemoryForLargeItems) {
  const TempDir root;
  OnNode<> node;
  constexpr std::size_t kSize = 50'000'003;
  const auto item = boost::make_shared<EndlessUpload>(root / "u", kSize, 0);
  EXPECT_EQ(node.filer->upload({item}, 0, HOQSecurityAttributes(0640), {}, nullptr), 0);
  EXPECT_LE(item->largest, 256u * 1024);
  EXPECT_EQ(item->offset, static_cast<std::int64_t>(kSize));
  std::ifstream file(root / "u", std::ios::binary);
  std::ostringstream read;
  read << file.rdbuf();
  const std::string bytes = read.str();
  ASSERT_EQ(bytes.size(), kSize);
  for (std::size_t i = 0; i < kSize; i += 999)
    ASSERT_EQ(bytes[i], static_cast<char>(i * 7 / 5)) << i;
}

}  // namespace
}  // namespace HOQ::test
