#pragma once

#include <boost/smart_ptr/shared_ptr.hpp>
#include <string>
#include <vector>

#include <hoq/HOQFileFilter.h>
#include <hoq/HOQFiler.h>

#include "Session.h"

namespace HOQ::cli {

class RecordTaker;

using RecordPtr = boost::shared_ptr<HOQFileType>;
using Records = HOQFiler::FileTypes;

/// What a listing came to.
struct Listed {
  enum class Outcome {
    kListed,
    kNotDirectory,  // or there is no such item; errors are empty
    kRefused,       // access refused
  };
  Outcome outcome;
  bool complete;                    // nothing failed
  Records records;                  // without the two placeholders, unless they were taken
  std::vector<std::string> errors;  // not reported yet
  std::size_t count = 0;            // of records, wherever they went
};

/// Asks the node for what commands show, in requests that lead where the system itself would.
///
/// The Filer examines a request path without following it. So that "/bin/ls" works where /bin is
/// a link, an item is asked for in its directory's "/.", which the system resolves.
class Lookup {
 public:
  /// `options` (bits of HOQFilerOptions) and `fields` (of HOQFileType) go with every request.
  Lookup(Session& session, int options, unsigned fields)
      : session_(session), options_(options), fields_(fields) {}

  /// Lists the directory `full` (a resolved path). `through`: one that a link leads to as well.
  /// Where the Filer's walk of a tree stopped at a directory that it cannot read, the tree is
  /// put together from its directories, so that only this one is missing. With `taker` (empty)
  /// records go there as they come, and nowhere else.
  Listed list(const std::string& full, bool through, const std::vector<HOQFileFilter>* filters,
              RecordTaker* taker = nullptr);

  /// The entries of `full` that match one pattern component, in the Filer's order, without sums.
  Listed match(const std::string& full, const std::string& pattern,
               const std::vector<HOQFileFilter>* filters);

  /// The item `full`, or, with `through`, the directory that it leads to. Empty when there is
  /// none, with `why` set unless the item is just not there.
  RecordPtr find(const std::string& full, bool through, std::string& why);

  /// The same, for an item that `typed` names; reports what is missing. Empty: it has.
  RecordPtr require(const std::string& typed, const std::string& full);

  bool refused() const { return refused_; }

 private:
  Listed ask(const std::string& directory, const std::string& path, int options,
             const std::vector<HOQFileFilter>* filters, RecordTaker* taker = nullptr,
             const RecordPtr& parent = nullptr);
  Listed askThrough(const std::string& full, bool through, int options,
                    const std::vector<HOQFileFilter>* filters, RecordTaker* taker = nullptr);
  void putTogether(const std::string& full, bool through, Listed& listed,
                   const std::vector<HOQFileFilter>* filters);
  Listed reported(Listed listed);
  std::string whyMissing(const std::string& full);

  Session& session_;
  const int options_;
  const unsigned fields_;
  bool refused_ = false;
};

}  // namespace HOQ::cli
