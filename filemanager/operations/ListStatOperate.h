#pragma once

#include <sys/types.h>

#include <boost/smart_ptr/make_shared.hpp>
#include <boost/smart_ptr/shared_ptr.hpp>
#include <string>
#include <vector>

#include <hoq/HOQFileType.h>

#include "engine/FileOperate.h"
#include "routine/ContentTypes.h"

namespace HOQ {

class HOQFileRoutineLin;

/// Makes records of the entries of directories: one level, or trees, or one level with the sizes
/// beneath. A directory's "." and ".." are entries like the others, where no filters are set.
class ListStatOperate : public FileOperate {
 public:
  using FileTypes = std::vector<boost::shared_ptr<HOQFileType>>;

  /// `statMode`: the request path itself is the item that is asked for, not the directory to read.
  /// `answer` is not owned and must outlive this object.
  ListStatOperate(HOQFileRoutine& routine, const HOQFilerOptions& requestOptions, bool statMode,
                  FileTypes& answer);
  ~ListStatOperate() override;

  int operate(const char* name) override;
  int beforeDir(int& dirDepth) override;
  int afterDir(int dirDepth, int result) override;
  /// Every entry is an item, "." and ".." included; with `only` set, those and the ones so named.
  int filtrate(const char* name) override;

  /// Appends to fileList() a record of `name` with what `source` says, but without its children.
  void addCopyFileType(const char* name, const HOQFileType* source);

  /// Whether no filter of the routine's list speaks against the item's type, times and size.
  bool matchFilters();

  /// Called after the walk: makes the last records whole and, with a receiver, hands them over.
  void finish();

  /// Whether the receiver wanted no more, which ended the walk.
  bool stopped() const { return stopped_; }

  /// Where a new record goes: below the directory being walked, or to the answer.
  FileTypes& fileList();

  unsigned int fields = 0;             // bits of HOQFileType::Field
  signed char depth;                   // -1: a request path; 0: its entries; stops at 127
  std::vector<HOQFileType*> dirStack;  // directories being walked in a tree; not owned
  unsigned long long sizeSum = 0;      // bytes met below the outermost directory being summed
  FileTypes* result;                   // not owned
  dev_t topDevice = 0;                 // of the item at depth 0
  const std::string* only = nullptr;   // the one name wanted at depth 0; not owned
  HOQRequestHandlerPrototype* receiver = nullptr;  // takes records out of the answer; not owned
  bool kindsSuffice = false;                       // HOQRequestHandlerPrototype::kindsSuffice()
  bool handsOverBelow = false;  // with a receiver, in a tree: it takes those below the top, too

 private:
  /// A directory that the walk is inside of.
  struct Level {
    HOQFileType* record;           // its record; null: none was made, as for a request path
    unsigned long long sumBefore;  // sizeSum when it was entered
    signed char depthBefore;
  };

  bool has(HOQFilerOptions::Bit bit) const { return error.options.has(bit); }
  int operateDots(const char* name, bool isParent);
  bool asksForKinds() const;
  int examineUpTo(std::size_t length);
  int examineAgain();
  int leaveOut(int cause);
  int record(const char* name, bool isDots);
  void addToSum(const HOQFileType& info);
  int append(const boost::shared_ptr<HOQFileType>& info);
  bool finishesRecords() const;
  void handOver(FileTypes& list);

  std::vector<Level> levels;
  /// Of the entry in hand, where only its size is wanted: every field that is read is filled anew.
  const boost::shared_ptr<HOQFileType> summed = boost::make_shared<HOQFileType>();
  std::size_t openRecords = 0;     // levels with a record: it is not finished
  HOQFileType* entered = nullptr;  // the record of the directory that operate() lets the walk enter
  ContentTypes types;
  HOQFileRoutineLin* const
      linuxRoutine;  // the routine, where it can leave content types to `types`
  bool stopped_ = false;
};

}  // namespace HOQ
