#pragma once

#include <string>
#include <vector>

#include <hoq/HOQFileDownloadData.h>
#include <hoq/HOQFiler.h>

#include "call/Request.h"

namespace HOQ::cli {

/// What an operation answers beside its code.
struct Answer {
  int code = 0;
  HOQFiler::FileTypes records;
  std::string target;                                         // of a link
  std::vector<boost::shared_ptr<HOQFileDownloadData>> items;  // as the operation left them
};

/// One operation of the Filer, as `hoq call` takes it. Dispatch, key checks, usage errors, help and
/// the answer's keys derive from its row; a further operation joins by a further row.
struct Operation {
  const char* name;
  const char* right;  // "read" or "change"
  const char* help;
  std::vector<Key> keys;  // of its own; every operation takes commonKeys() as well
  bool answersRecords;    // the answer has "answered" and "records"
  void (*run)(HOQFiler& filer, const Request& request, Answer& answer);
  bool answersTarget = false;  // the answer has "target"
  /// What the keys' own rows cannot say. Throws CommandError(kExitUsage). Null: nothing.
  void (*check)(const Request& request) = nullptr;
  bool answersItems = false;  // the answer has "items"

  std::vector<Key> allKeys() const;
};

const std::vector<Operation>& operations();
const std::vector<Key>& commonKeys();

/// Null when there is none of that name.
const Operation* findOperation(const std::string& name);

/// Every operation with its keys, for the help.
std::string describeOperations();

}  // namespace HOQ::cli
