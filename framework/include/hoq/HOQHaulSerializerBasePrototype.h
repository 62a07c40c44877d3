#pragma once

#include <boost/smart_ptr/intrusive_ref_counter.hpp>
#include <boost/smart_ptr/shared_ptr.hpp>
#include <utility>

#include <hoq/HOQChannelPrototype.h>
#include <hoq/HOQConnectionInfo.h>
#include <hoq/HOQExport.h>

namespace HOQ {

/// The parameters of one end of a transfer. Each kind of transfer derives its own record.
class HOQ_EXPORT HOQHaulSerializerBaseParams {
 public:
  virtual ~HOQHaulSerializerBaseParams();
};

using HOQHaulParamsPtr = boost::shared_ptr<HOQHaulSerializerBaseParams>;

/// What every end of a transfer has, whether it works in this process or stands for one on
/// another node: its parameters, and the operations that set it up and take it down.
///
/// Order of calls: init, create, then the stages of its kind, then finish. One thread at a time.
class HOQ_EXPORT HOQHaulSerializerBasePrototype
    : public boost::intrusive_ref_counter<HOQHaulSerializerBasePrototype,
                                          boost::thread_safe_counter> {
 public:
  virtual ~HOQHaulSerializerBasePrototype();

  /// Takes the connection and the parameters (not empty). 0, or a code with the error text set.
  virtual int init(const HOQConnectionInfo& connection, HOQHaulParamsPtr params) = 0;

  /// Makes the end ready for its first stage. 0, or a code with the error text set.
  virtual int create() = 0;

  /// Takes the end down, whatever stage it reached; a second call does nothing. 0, or a code with
  /// the error text set when the end did not come to a clean close.
  virtual int finish() = 0;

  /// Opens the channels that reach this end: in memory for one in this process.
  virtual HOQConnectorPtr createConnectorFromSelf() = 0;

  const HOQHaulParamsPtr& getParams() const { return params_; }
  void setParams(HOQHaulParamsPtr params) { params_ = std::move(params); }

 private:
  HOQHaulParamsPtr params_;
};

}  // namespace HOQ
