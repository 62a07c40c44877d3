#pragma once

#include <string>

#include "filemanager/operations/ChangesFixture.h"

namespace HOQ::test {

enum class How { Copy, Move, MoveAcross };  // across: the target is given with "^"

/// A copy or move in a small world. "@" stands for the place, "^" for the elsewhere.
struct CopyMoveCase {
  const char* what;
  How how;
  const char* tree;
  const char* treeElsewhere;
  HOQFiler::Paths paths;
  const char* target;
  int options;
  int code;
  Texts messages;
  const char* left;
  const char* leftElsewhere;
};

// Codes of the request.
constexpr int kOk = 0;
constexpr int kStopped = 2056;

class CopyMoveCases : public ChangesFixture {
 protected:
  template <std::size_t count>
  void run(const CopyMoveCase (&rows)[count], bool across) {
    int cases = 0;
    for (const CopyMoveCase& row : rows) {
      if ((row.how == How::MoveAcross) != across) continue;
      SCOPED_TRACE(row.what);
      trees::make(dir.path(), row.tree);
      trees::make(elsewhere.path(), row.treeElsewhere);
      const Said outcome = carry(row.how == How::Copy ? kCopy : kMove, placed(row.paths),
                                 placed(row.target), row.options);
      EXPECT_EQ(outcome.code, row.code);
      EXPECT_EQ(outcome.messages, placed(row.messages));
      EXPECT_EQ(left(), row.left);
      EXPECT_EQ(leftElsewhere(), row.leftElsewhere);
      empty();
      ++cases;
    }
    EXPECT_GT(cases, 0);
  }
};

}  // namespace HOQ::test
