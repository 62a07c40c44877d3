// What the operation tells the transfers that it starts, and what it makes of their outcome.
#include <hoq/HOQErrorMessage.h>

#include <boost/smart_ptr/make_shared.hpp>

#include "filemanager/operations/ChangesFixture.h"
#include "haul/HOQFileDeserializerLocalPrototype.h"
#include "haul/HOQFileSerializerLocalPrototype.h"
#include "operations/RemoteCopyMoveOperate.h"

namespace HOQ::test {
namespace {

/// Notes each transfer and does nothing. The n-th ends as the test says.
class NotingControl : public HOQHaulControl {
 public:
  NotingControl() : HOQHaulControl(HOQAccessProviderPtr()) {}

  Texts noted;
  int failing = 0;  // counted from 1
  int code = 0;
  std::string text;

 protected:
  int process() override {
    const auto& from = static_cast<const HOQFileSerializerParams&>(*serializer->getParams());
    const auto& to = static_cast<const HOQFileDeserializerParams&>(*deserializer->getParams());
    noted.push_back(from.srcPath + " " + std::to_string(from.options.flags) + " -> " +
                    connection.target + " " + to.cwd + " " + to.dstPath + " " +
                    std::to_string(to.options.flags) + " " + std::to_string(to.depth) + " " +
                    to.name + " " + std::to_string(to.security.value & 0777) + " " +
                    (to.isRegular ? "file" : "directory"));
    EXPECT_TRUE(getProgressHandler());
    if (static_cast<int>(noted.size()) != failing) return 0;
    setErrorMessage("%s", text);
    return code;
  }
  boost::intrusive_ptr<HOQHaulSerializerPrototype> createSerializer() override {
    return new HOQFileSerializerLocalPrototype(HOQAccessProviderPtr());
  }
  boost::intrusive_ptr<HOQHaulDeserializerPrototype> createDeserializer() override {
    return new HOQFileDeserializerLocalPrototype(HOQAccessProviderPtr());
  }
};

class RemoteCopyParams : public ChangesFixture {
 protected:
  /// Walks `paths` with the operation itself.
  int walk(const HOQFiler::Paths& paths, int options, bool moves = false) {
    const HOQFilerOptions requested(options);
    const boost::shared_ptr<HOQFileRoutine> source =
        maker ? maker(dir.path()) : boost::make_shared<HOQFileRoutineLin>(dir.path());
    HOQFileRoutineLin target("t");
    RemoteCopyMoveOperate operation(*source, target, requested, control, attributes);
    operation.moveItems = moves;
    operation.connection = boost::make_shared<HOQConnectionInfo>(HOQConnectionInfo{"local:"});
    operation.error.handler = handler;
    const int code = operatePaths(operation, paths, dir.path());
    EXPECT_EQ(target.path, "t");  // a text, put back to where it was
    EXPECT_EQ(operation.depth, 0);
    return code;
  }

  const boost::shared_ptr<NotingControl> control = boost::make_shared<NotingControl>();
  const CollectingHandlerPtr handler{new CollectingHandler};
  const HOQSecurityAttributes* attributes = nullptr;
};

TEST_F(RemoteCopyParams, EachItemIsToldItsPlaceDepthAndName) {
  trees::make(dir.path(), "f%640=1 d/%750 d/e/%700 d/e/g%600=2");
  EXPECT_EQ(walk({"f", "d/e", "d"}, kRecursive | 0x100), 0);
  const std::string from = dir.path();
  const std::string to = " 0 -> local: " + from + "/ ";
  EXPECT_EQ(control->noted, (Texts{from + "/f" + to + "t 258 0 f 416 file",
                                   from + "/d/e" + to + "t 258 0 e 448 directory",
                                   from + "/d/e/g" + to + "t/e 258 1 g 384 file",
                                   from + "/d" + to + "t 258 0 d 488 directory",
                                   from + "/d/e" + to + "t/d 258 1 e 448 directory",
                                   from + "/d/e/g" + to + "t/d/e 258 2 g 384 file"}));
}

TEST_F(RemoteCopyParams, GivenAttributesReplaceTheSources) {
  trees::make(dir.path(), "d/%750 d/f%640=1");
  const HOQSecurityAttributes given(0123);
  attributes = &given;
  EXPECT_EQ(walk({"d"}, kRecursive), 0);
  ASSERT_EQ(control->noted.size(), 2U);
  for (const std::string& note : control->noted)
    EXPECT_NE(note.find(" 83 "), std::string::npos) << note;
}

TEST_F(RemoteCopyParams, AFailureIsReportedWithItsCodeAndText) {
  const struct {
    int code;
    int reported;
    const char* text;
  } rows[] = {{-3, -3, "100%s%n"}, {-1414, -1414, "no"}, {7, -1, "seven"}, {1, -1, "one"}};
  trees::make(dir.path(), "a=1 b=2 c=3");
  for (const auto& row : rows) {
    control->noted.clear();
    control->failing = 2;
    control->code = row.code;
    control->text = row.text;
    handler->errors.clear();
    EXPECT_EQ(walk({"a", "b", "c"}, 0), 2056);
    EXPECT_EQ(control->noted.size(), 2U);  // the walk stops
    EXPECT_EQ(handler->messages(), (Texts{quoted("b") + ", " + row.text}));
    EXPECT_EQ(handler->errors.at(0).code, row.reported);
  }
}

TEST_F(RemoteCopyParams, AMoveRemovesEmptiedDirectories) {
  trees::make(dir.path(), "d/e/ d/v/ f=1");
  EXPECT_EQ(walk({"d"}, kRecursive, true), 0);
  EXPECT_EQ(left(), "f=1");
}

TEST_F(RemoteCopyParams, ACopyRemovesNothing) {
  trees::make(dir.path(), "d/e/");
  EXPECT_EQ(walk({"d"}, kRecursive), 0);
  EXPECT_EQ(left(), "d/e/");
}

TEST_F(RemoteCopyParams, AMoveTellsOfADirectoryThatCannotBeRemoved) {
  trees::make(dir.path(), "d/f=1");
  EXPECT_EQ(walk({"d"}, kRecursive, true), 2056);  // its files are not removed
  EXPECT_EQ(handler->messages(),
            (Texts{quoted("d") + ", Cannot remove item: Directory not empty[39]"}));
}

TEST_F(RemoteCopyParams, AMoveOfADirectoryNeedsTheRecursiveBit) {
  trees::make(dir.path(), "d/ f=1");
  EXPECT_EQ(walk({"d"}, 0, true), 2056);
  EXPECT_EQ(handler->messages(),
            (Texts{quoted("d") + ", Cannot move directory without recursively flag"}));
  EXPECT_TRUE(control->noted.empty());
  EXPECT_EQ(walk({"f"}, 0, true), 0);
}

TEST_F(RemoteCopyParams, AfterAFailureBelowNothingIsRemoved) {
  trees::make(dir.path(), "d/e/");
  control->failing = 2;
  control->code = -1;
  EXPECT_EQ(walk({"d"}, kRecursive, true), 2056);
  EXPECT_EQ(left(), "d/e/");
}

// An error number left behind by something else is not a link's.
TEST_F(RemoteCopyParams, ARefusedItemIsToldWithoutASystemError) {
  trees::make(dir.path(), "l->x p|");
  for (const char* item : {"l", "p"}) {
    interfere([](Call, const std::string&) { errno = EIO; });
    EXPECT_EQ(walk({item}, 0), 2056);
  }
  EXPECT_EQ(handler->messages(), (Texts{quoted("l") + ", Cannot copy link",
                                        quoted("p") + ", Cannot copy special file"}));
}

// A link that cannot be told from a file may be one.
TEST_F(RemoteCopyParams, AnItemThatCannotBeToldFromALinkCountsAsOne) {
  trees::make(dir.path(), "f=1");
  FaultPlan plan(2, EIO, Call::Stat);
  failBy(plan);
  EXPECT_EQ(walk({"f"}, kFollow), 2056);
  EXPECT_TRUE(plan.struck());
  EXPECT_EQ(handler->messages(), Texts{quoted("f") + ", Cannot copy link"});
}

}  // namespace
}  // namespace HOQ::test
