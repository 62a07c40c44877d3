#include "contents/Proof.h"

#include <algorithm>
#include <exception>
#include <future>
#include <thread>
#include <utility>
#include <vector>

namespace HOQ::cli {
namespace {

constexpr std::size_t kPieces = 2;  // of a request

using Memory = std::vector<char>;

/// Asks for the pieces from `offset` on, up to `end`.
std::vector<ReadPiece> piecesOf(const std::string& path, std::uint64_t offset, std::uint64_t end,
                                Memory& memory) {
  std::vector<ReadPiece> pieces;
  for (std::size_t used = 0; used < memory.size() && offset < end;) {
    ReadPiece piece;
    piece.path = path;
    piece.offset = offset;
    piece.wanted =
        static_cast<std::size_t>(std::min<std::uint64_t>(Side::kPieceBytes, end - offset));
    piece.buffer = memory.data() + used;
    used += piece.wanted;
    offset += piece.wanted;
    pieces.push_back(std::move(piece));
  }
  return pieces;
}

/// Adds what came. False: not all of it did.
bool addTo(Digest& digest, const std::vector<ReadPiece>& pieces) {
  for (const ReadPiece& piece : pieces) {
    if (!piece.error.empty()) throw SideError(piece.error);
    digest.add(piece.buffer, piece.got);
    if (piece.got < piece.wanted) return false;
  }
  return true;
}

}  // namespace

/// The digest is computed beside the next request.
std::optional<Digest> digestOfBeginning(Side& side, const std::string& path, std::uint64_t bytes) {
  Memory memory[2] = {Memory(kPieces * Side::kPieceBytes), Memory(kPieces * Side::kPieceBytes)};
  Digest digest;
  std::vector<ReadPiece> pieces[2];
  std::future<bool> added;  // its end is waited for before what it uses goes away
  std::uint64_t offset = 0;
  for (int turn = 0; offset < bytes; turn = 1 - turn) {
    pieces[turn] = piecesOf(path, offset, bytes, memory[turn]);
    offset = pieces[turn].back().offset + pieces[turn].back().wanted;
    side.read(pieces[turn]);
    if (added.valid() && !added.get()) return std::nullopt;
    added = std::async(std::launch::async,
                       [&digest, &come = pieces[turn]] { return addTo(digest, come); });
  }
  if (added.valid() && !added.get()) return std::nullopt;
  return digest;
}

std::optional<Digest> sameBeginning(Side& one, const std::string& path, Side& other,
                                    const std::string& otherPath, std::uint64_t bytes) {
  // The client's side does not mind which thread asks it.
  auto first = std::async(std::launch::async, [&] { return digestOfBeginning(one, path, bytes); });
  const auto second = digestOfBeginning(other, otherPath, bytes);
  const auto mine = first.get();
  if (!mine || !second || mine->value() != second->value()) return std::nullopt;
  return mine;
}

}  // namespace HOQ::cli
