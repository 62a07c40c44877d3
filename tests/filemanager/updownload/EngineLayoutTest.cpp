// Hosts are compiled against the engine's slots and fields.
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "filemanager/updownload/EngineFake.h"
#include "filer/HOQFilerLocal.h"
#include "support/MemberProbe.h"
#include "support/SlotProbe.h"
#include "updownload/DownloadOperateLocal.h"
#include "updownload/UploadOperateLocal.h"

namespace HOQ::test {
namespace {

template <class Operate>
void expectSlots() {
  EXPECT_EQ(slotOf(&Operate::openFile), 2);
  EXPECT_EQ(slotOf(&Operate::processFile), 3);
  EXPECT_EQ(slotOf(&Operate::closeFile), 4);
  EXPECT_EQ(slotOf(&Operate::restartFile), 5);
  EXPECT_EQ(slotOf(&Operate::operateFile), -1);
  EXPECT_EQ(slotOf(&Operate::operateFiles), -1);
}

TEST(EngineLayout, SlotsFollowTheDestructorInOrder) {
  expectSlots<HOQFileUpDownload<HOQFiler::UploadList>>();
  expectSlots<HOQFileUpDownload<HOQFiler::DownloadList>>();
  expectSlots<UploadOperateLocal>();
  expectSlots<DownloadOperateLocal>();
}

template <class List>
void expectFields() {
  const std::vector<FileScript> files = {{"a", 1}};
  const List list = EngineFake<List>::itemsOf(files);
  const EngineFake<List> e(files, list, nullptr);
  const std::vector<std::size_t> places = {offsetIn(e, e.items),
                                           offsetIn(e, e.current),
                                           offsetIn(e, e.securityAttributes),
                                           offsetIn(e, e.optionFlags),
                                           offsetIn(e, e.progress),
                                           offsetIn(e, e.state),
                                           offsetIn(e, e.remaining),
                                           offsetIn(e, e.fileSize),
                                           offsetIn(e, e.handler),
                                           offsetIn(e, e.totalBytes),
                                           offsetIn(e, e.totalProgressBytes),
                                           offsetIn(e, e.reportsProgress),
                                           offsetIn(e, e.fileStarted),
                                           offsetIn(e, e.lastError)};
  EXPECT_EQ(places.front(), sizeof(void*));
  EXPECT_TRUE(std::is_sorted(places.begin(), places.end()));
  EXPECT_EQ(sizeof(e.optionFlags), 4U);
  EXPECT_EQ(sizeof(e.state), 4U);
  EXPECT_EQ(sizeof(e.progress.percent), 4U);
  for (const std::size_t size : {sizeof(e.remaining), sizeof(e.fileSize), sizeof(e.totalBytes),
                                 sizeof(e.totalProgressBytes)})
    EXPECT_EQ(size, 8U);
}

TEST(EngineLayout, FieldsStandInOrder) {
  expectFields<HOQFiler::UploadList>();
  expectFields<HOQFiler::DownloadList>();
}

HOQ_PROBE_MEMBER(UploadCwd, UploadOperateLocal, cwd, std::string);
HOQ_PROBE_MEMBER(UploadFile, UploadOperateLocal, file, HOQFile);
HOQ_PROBE_MEMBER(DownloadCwd, DownloadOperateLocal, cwd, std::string);
HOQ_PROBE_MEMBER(DownloadRoutine, DownloadOperateLocal, routine, boost::shared_ptr<HOQFileRoutine>);
HOQ_PROBE_MEMBER(DownloadBuffer, DownloadOperateLocal, buffer, boost::shared_ptr<char>);

TEST(EngineLayout, TheDirectionsFieldsFollowTheEnginesInOrder) {
  const HOQFiler::UploadList uploads;
  const UploadOperateLocal upload("/w", &uploads, 0, 0, nullptr);
  const std::size_t first = offsetIn(upload, upload.*memberOf(UploadCwd()));
  EXPECT_EQ(first, sizeof(HOQFileUpDownload<HOQFiler::UploadList>));
  EXPECT_LT(first, offsetIn(upload, upload.*memberOf(UploadFile())));
  EXPECT_FALSE((upload.*memberOf(UploadFile())).isOpened());

  const HOQFiler::DownloadList downloads;
  const auto routine = HOQFilerLocal(nullptr).createRoutine("/w");
  const DownloadOperateLocal download("/w", &downloads, 0, 0, nullptr, routine);
  const std::size_t cwd = offsetIn(download, download.*memberOf(DownloadCwd()));
  const std::size_t source = offsetIn(download, download.*memberOf(DownloadRoutine()));
  EXPECT_EQ(cwd, sizeof(HOQFileUpDownload<HOQFiler::DownloadList>));
  EXPECT_LT(cwd, source);
  EXPECT_LT(source, offsetIn(download, download.*memberOf(DownloadBuffer())));
  EXPECT_FALSE(download.*memberOf(DownloadBuffer())) << "made when it is first needed";
}

}  // namespace
}  // namespace HOQ::test
