#pragma once

#include <string>

#include <hoq/HOQExport.h>
#include <hoq/HOQRequest.h>

namespace HOQ {

/// How a client says in which manner the next commands are to run. What is said stays said until
/// it is said anew.
///
///     HOQRequestModificator::of(*filer).sync(handler, "");
///     filer->remove(paths, options);          // errors go to `handler`
class HOQ_EXPORT HOQRequestModificator : public HOQRequest {
 public:
  /// Commands from here to endTransaction() belong together: they share a context of their own,
  /// made with createContext(). 0, or -1 with the error text set when one is open already.
  virtual int beginTransaction();

  /// Ends the transaction, puts back the context from before it, and tells `handler` (which may
  /// be empty) the outcome as an error record when a command of it failed. Returns the code of
  /// the first command that failed, 0 when none did, or -1 with the error text set when no
  /// transaction is open.
  virtual int endTransaction(HOQRequestHandlerPtr handler);

  /// Run in the environment `target`; `forced`: as a remote call even where that is this node.
  virtual void remote(const std::string& target, bool forced);

  /// Run with no other request of the session beside it.
  virtual void exclusive();

  /// Run over `connection`; empty: on this node.
  virtual void connection(HOQConnectionPtr connection);

  /// Run as part of the session of that name.
  virtual void session(const std::string& name);

  /// The following commands return when they are done; their news go to `handler` (may be empty).
  /// A `session` that is not empty is set as by session().
  void sync(HOQRequestHandlerPtr handler, const std::string& session);

  /// The following commands may work beside the caller where their object can; news and session as
  /// for sync(). Objects of this framework cannot: their commands are done when they return.
  void async(HOQRequestHandlerPtr handler, const std::string& session);

  /// The request machinery of a functional's object, local or remote. An object without one is a
  /// programming error and throws std::bad_cast.
  template <class Functional>
  static HOQRequestModificator& of(Functional& functional) {
    return dynamic_cast<HOQRequestModificator&>(functional);
  }

 protected:
  /// A command of this request ended with `code`.
  void noteOutcome(int code);

 private:
  HOQRequestContextPtr outside_;  // the context to go back to; set while a transaction is open
  int transactionCode_ = 0;
};

}  // namespace HOQ
