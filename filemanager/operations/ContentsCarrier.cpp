#include "operations/ContentsCarrier.h"

namespace HOQ {

int BlockCarrier::carry(FileOperate& operation, HOQFileRoutine& source, HOQFileRoutine& target) {
  char block[1024];
  for (;;) {
    const long got = source.read(block, sizeof block);
    if (got == 0) return 0;
    if (got < 0) {
      operation.setPathLastError(-1, "Cannot read from file");
      return static_cast<int>(got);
    }
    if (target.write(block, static_cast<int>(got)) != got)
      return operation.setPathLastError(-1, "Cannot write to file", &target);
  }
}

}  // namespace HOQ
