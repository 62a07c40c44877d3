#include <hoq/HOQRequestModificator.h>

#include <utility>

#include <hoq/HOQErrorMessage.h>

namespace HOQ {

int HOQRequestModificator::beginTransaction() {
  if (outside_) {
    setErrorMessage("A transaction is open already");
    return -1;
  }
  outside_ = std::exchange(context_, createContext());
  transactionCode_ = 0;
  return 0;
}

int HOQRequestModificator::endTransaction(HOQRequestHandlerPtr handler) {
  if (!outside_) {
    setErrorMessage("No transaction is open");
    return -1;
  }
  context_ = std::exchange(outside_, nullptr);
  if (handler && transactionCode_ != 0)
    handler->error(HOQRequestErrorData(transactionCode_, "A command of the transaction failed"));
  return transactionCode_;
}

void HOQRequestModificator::remote(const std::string& target, bool forced) {
  context_->remoteTarget = target;
  context_->remoteForced = forced;
}

void HOQRequestModificator::exclusive() { context_->exclusive = true; }

void HOQRequestModificator::connection(HOQConnectionPtr connection) {
  context_->connection = std::move(connection);
}

void HOQRequestModificator::session(const std::string& name) { context_->session = name; }

void HOQRequestModificator::sync(HOQRequestHandlerPtr handler, const std::string& session) {
  context_->handler = std::move(handler);
  if (!session.empty()) this->session(session);
}

void HOQRequestModificator::async(HOQRequestHandlerPtr handler, const std::string& session) {
  sync(std::move(handler), session);
}

void HOQRequestModificator::noteOutcome(int code) {
  if (outside_ && transactionCode_ == 0) transactionCode_ = code;
}

}  // namespace HOQ
