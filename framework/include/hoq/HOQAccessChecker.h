#pragma once

#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <boost/smart_ptr/intrusive_ref_counter.hpp>
#include <string>

#include <hoq/HOQExport.h>

namespace HOQ {

/// Who asks, and what it may do. Immutable, so any thread may read it.
class HOQ_EXPORT HOQClientContext
    : public boost::intrusive_ref_counter<HOQClientContext, boost::thread_safe_counter> {
 public:
  /// `name` is what logs call the client.
  HOQClientContext(std::string name, bool mayRead, bool mayChange)
      : name_(std::move(name)), mayRead_(mayRead), mayChange_(mayChange) {}
  virtual ~HOQClientContext();

  const std::string& name() const { return name_; }
  bool mayRead() const { return mayRead_; }
  bool mayChange() const { return mayChange_; }

 private:
  const std::string name_;
  const bool mayRead_;
  const bool mayChange_;
};

/// Decides whether a client may do what it asks for. The client belongs to the thread: a host
/// names it with a Scope around the calls that it makes for that client.
class HOQ_EXPORT HOQAccessChecker {
 public:
  using ClientContextPtr = boost::intrusive_ptr<HOQClientContext>;

  /// The rights that operations ask for: reading, and changing.
  static constexpr int kRead = 40;
  static constexpr int kChange = 41;

  /// The client that this thread works for; empty where no Scope is open.
  static ClientContextPtr getClientContext();

  /// 0 when `client` has the right `level`, otherwise non-zero. Without a client, and for a level
  /// that is not one of the above, the answer is to refuse.
  [[nodiscard]] static int accessCheck(const ClientContextPtr& client, int level);

  /// For its lifetime, this thread works for `client`. Scopes of a thread nest.
  class HOQ_EXPORT Scope {
   public:
    explicit Scope(ClientContextPtr client);
    ~Scope();
    Scope(const Scope&) = delete;
    Scope& operator=(const Scope&) = delete;

   private:
    ClientContextPtr previous_;
  };
};

}  // namespace HOQ
