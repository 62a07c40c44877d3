#pragma once

namespace HOQ::cli {

/// What put and get are told.
struct ContentsOptions {
  bool put = false;  // else get
  bool recursive = false;
  bool force = false;
  bool followLinks = false;
  bool keep = false;  // modes, and times where they can be given
  bool resume = false;
  bool verify = false;
  bool inPlace = false;
  bool wildcards = false;
  bool noCount = false;
  bool sameMachine = false;  // the node's files are the client's own

  /// Whether large files are read by the thread that writes them: where nothing takes long but
  /// copying itself, that is done best through one buffer that stays in the processor's cache.
  bool readsLate() const { return sameMachine && !verify; }

  const char* name() const { return put ? "put" : "get"; }
};

}  // namespace HOQ::cli
