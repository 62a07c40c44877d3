#include "operations/ContentsCarrier.h"

#include "routine/SystemCopy.h"

namespace HOQ {
namespace {

bool writeWhole(HOQFileRoutine& target, const char* bytes, long count) {
  while (count > 0) {
    const long written = target.write(bytes, static_cast<int>(count));
    if (written <= 0) return false;
    bytes += written;
    count -= written;
  }
  return true;
}

}  // namespace

std::unique_ptr<ContentsCarrier> ContentsCarrier::make(HOQContentsEngine::Kind engine) {
  if (engine == HOQContentsEngine::kKernel) return std::make_unique<KernelCarrier>();
  return std::make_unique<BlockCarrier>();
}

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

int KernelCarrier::carry(FileOperate& operation, HOQFileRoutine& source, HOQFileRoutine& target) {
  if (!piece_) piece_.reset(new char[SystemCopy::kSmall]);  // nothing is put in before it is read
  SystemCopy system(source, target);
  for (;;) {
    const long most = system.advance(SystemCopy::kSmall);
    const long got = source.read(piece_.get(), static_cast<int>(most));
    if (got == 0) return 0;
    if (got < 0) {
      operation.setPathLastError(-1, "Cannot read from file");
      return static_cast<int>(got);
    }
    if (!writeWhole(target, piece_.get(), got))
      return operation.setPathLastError(-1, "Cannot write to file", &target);
  }
}

}  // namespace HOQ
