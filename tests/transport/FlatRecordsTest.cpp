#include "codec/FlatRecords.h"

#include <gtest/gtest.h>
#include <hoq/v1/filer.pb.h>

#include <boost/smart_ptr/make_shared.hpp>
#include <string>
#include <vector>

namespace HOQ::transport {
namespace {

boost::shared_ptr<HOQFileType> record(const std::string& name, const FileTypes& children = {}) {
  auto made = boost::make_shared<HOQFileType>();
  made->name = name;
  made->children = children;
  return made;
}

std::string shown(const FileTypes& records) {
  std::string text;
  for (const auto& each : records)
    text += each->name + (each->children.empty() ? "" : "(" + shown(each->children) + ")");
  return text;
}

std::vector<hoq::v1::FilerEvent> batches(const FileTypes& records) {
  std::vector<hoq::v1::FilerEvent> all;
  flatten(records, [&all](hoq::v1::FilerEvent&& batch, std::size_t) {
    all.push_back(std::move(batch));
    return true;
  });
  return all;
}

TEST(FlatRecords, MakeTheSameTreesAgain) {
  const FileTypes trees = {record("a"), record("b", {record("c", {record("d")}), record("e")}),
                           record("f", {record("g")})};
  RecordTrees made;
  for (auto& batch : batches(trees))
    for (auto& each : *batch.mutable_records()->mutable_records())
      ASSERT_TRUE(made.add(std::move(each)));
  FileTypes back = {record("before")};
  made.moveTo(back);
  EXPECT_EQ(shown(back), "before" + shown(trees));
}

TEST(FlatRecords, KeepEveryField) {
  const auto full = record("n\xff");
  full->type = 8;
  full->permissions = 07777;
  full->user = "u";
  full->uid = 0xFFFFFFFF;
  full->group = "g";
  full->gid = 7;
  full->size = 0xFFFFFFFFFFFFFFFF;
  full->mtime = -5;
  full->nlink = 3;
  full->linkTarget = "l";
  full->contentType = "c";
  full->sizes = {-1, 1LL << 62};
  full->valid = 0xFFF;
  RecordTrees made;
  ASSERT_TRUE(made.add(std::move(*batches({full})[0].mutable_records()->mutable_records(0))));
  FileTypes back;
  made.moveTo(back);
  const HOQFileType& got = *back.at(0);
  EXPECT_EQ(got.name, full->name);
  EXPECT_EQ(got.type, 8u);
  EXPECT_EQ(got.permissions, 07777u);
  EXPECT_EQ(got.user, "u");
  EXPECT_EQ(got.uid, 0xFFFFFFFF);
  EXPECT_EQ(got.group, "g");
  EXPECT_EQ(got.gid, 7u);
  EXPECT_EQ(got.size, 0xFFFFFFFFFFFFFFFF);
  EXPECT_EQ(got.mtime, -5);
  EXPECT_EQ(got.nlink, 3u);
  EXPECT_EQ(got.linkTarget, "l");
  EXPECT_EQ(got.contentType, "c");
  EXPECT_EQ(got.sizes, full->sizes);
  EXPECT_EQ(got.valid, 0xFFFu);
}

TEST(FlatRecords, ComeInBatchesThatFitAMessage) {
  FileTypes many;
  for (int i = 0; i < 5000; ++i) many.push_back(record(std::string(200, 'n')));
  const auto all = batches(many);
  EXPECT_GT(all.size(), 5u);
  for (const auto& batch : all) EXPECT_LT(batch.ByteSizeLong(), 200'000u);
}

TEST(FlatRecords, StopWhenNobodyTakesThem) {
  FileTypes many;
  for (int i = 0; i < 5000; ++i) many.push_back(record(std::string(200, 'n')));
  int taken = 0;
  flatten(many, [&taken](hoq::v1::FilerEvent&&, std::size_t) { return ++taken < 2; });
  EXPECT_EQ(taken, 2);
}

TEST(FlatRecords, WithAParentThatIsNotThereAreRefused) {
  RecordTrees made;
  hoq::v1::FileRecord first;
  first.set_parent(1);
  EXPECT_FALSE(made.add(std::move(first)));
  ASSERT_TRUE(made.add(hoq::v1::FileRecord()));
  hoq::v1::FileRecord second;
  second.set_parent(2);
  EXPECT_FALSE(made.add(std::move(second))) << "its own";
}

TEST(FlatRecords, AreMovedAwayTreeByTreeAsTheyAreWhole) {
  const FileTypes trees = {record("a"), record("b", {record("c", {record("d")}), record("e")}),
                           record("f", {record("g")})};
  RecordTrees made;
  FileTypes whole;
  std::string steps;
  for (auto& batch : batches(trees))
    for (auto& each : *batch.mutable_records()->mutable_records()) {
      const std::string name = each.name();
      ASSERT_TRUE(made.add(std::move(each))) << name;
      made.moveWholeTo(whole);
      steps += name + std::to_string(whole.size()) + " ";
    }
  EXPECT_EQ(steps, "a0 b1 c1 d1 e1 f2 g2 ");
  made.moveTo(whole);
  EXPECT_EQ(shown(whole), shown(trees));
}

TEST(FlatRecords, OfTreesThatWereMovedAwayAreNobodysParents) {
  const auto flat = [](std::uint64_t parent) {
    hoq::v1::FileRecord made;
    made.set_parent(parent);
    return made;
  };
  for (const std::uint64_t parent : {1U, 2U, 5U}) {
    RecordTrees made;
    FileTypes whole;
    ASSERT_TRUE(made.add(flat(0)));
    ASSERT_TRUE(made.add(flat(1)));
    ASSERT_TRUE(made.add(flat(0)));
    made.moveWholeTo(whole);
    ASSERT_EQ(whole.size(), 1U);
    ASSERT_TRUE(made.add(flat(3)));
    EXPECT_FALSE(made.add(flat(parent))) << parent;
    EXPECT_TRUE(made.add(flat(4)));
  }
}

}  // namespace
}  // namespace HOQ::transport
