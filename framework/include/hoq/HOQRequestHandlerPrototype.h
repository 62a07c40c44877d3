#pragma once

#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <boost/smart_ptr/intrusive_ref_counter.hpp>
#include <boost/smart_ptr/shared_ptr.hpp>
#include <cstddef>

#include <hoq/HOQExport.h>
#include <hoq/HOQMsgWriter.h>
#include <hoq/HOQRequestErrorData.h>
#include <hoq/HOQRequestProgressData.h>

namespace HOQ {

struct HOQFileType;

/// Where a request's news go while it runs. A host implements it: in process it collects or
/// prints, for a remote client it sends. Records are valid during the call only.
///
/// Called by the thread that runs the request. An operation may block (that slows the request
/// down and nothing else) and must not throw; what it cannot deliver it drops, and the request's
/// own result stands.
class HOQ_EXPORT HOQRequestHandlerPrototype
    : public boost::intrusive_ref_counter<HOQRequestHandlerPrototype, boost::thread_safe_counter> {
 public:
  virtual ~HOQRequestHandlerPrototype();

  /// An intermediate error: something failed, the request goes on or ends by itself.
  virtual void error(const HOQRequestErrorData& error) = 0;

  /// Where the request stands.
  virtual void progress(const HOQRequestProgressData& progress) = 0;

  /// The end of a command that answers with data: the answer and the command's outcome.
  virtual void answer(const HOQMsgWriter& answer, const HOQRequestErrorData& outcome) = 0;

  /// A walk has reached a further item, which nothing has been done to. Called once for each, so it
  /// must be cheap; for showing that work that lasts is alive. False: nobody waits for the work any
  /// more; it ends before the item, as after an error. By default it goes on.
  virtual bool itemReached();

  /// Whether a list is to hand its records over one by one, as soon as each is finished, instead of
  /// keeping them for its answer, which then has none. Asked once for each list. By default not.
  virtual bool takesRecords() const;

  /// The next record of a list's answer, with everything below it; nothing changes it any more. The
  /// records come in the order of the answer, errors between them when they happen. False: no more
  /// is wanted; the list ends at once with -1 and tells no error of it.
  virtual bool record(const boost::shared_ptr<HOQFileType>& record);

  /// Whether a list that is asked for no more than names, kinds and permissions (without filters,
  /// sums and links followed) may leave entries that are no directories unexamined: their records
  /// then have a name and a kind and nothing else. An entry of each directory is examined, so that
  /// a directory whose entries cannot be reached still tells that. By default not.
  virtual bool kindsSuffice() const;

  /// Whether a list of a tree that hands its records over hands over what is below the top level by
  /// itself, too, instead of in the records of its directories, which then have no children. Asked
  /// once for each list. By default not.
  virtual bool takesRecordsBelow() const;

  /// The next record of a directory of a tree, `level` directories below the top level, 1 or more.
  /// What is in a directory comes in its order, all of it before the directory itself, and nothing
  /// of others between but what is below. Else as record().
  virtual bool recordBelow(const boost::shared_ptr<HOQFileType>& record, std::size_t level);
};

using HOQRequestHandlerPtr = boost::intrusive_ptr<HOQRequestHandlerPrototype>;

}  // namespace HOQ
