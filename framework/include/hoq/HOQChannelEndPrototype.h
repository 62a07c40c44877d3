#pragma once

#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <boost/smart_ptr/intrusive_ref_counter.hpp>
#include <cstdint>
#include <string>

#include <hoq/HOQExport.h>

namespace HOQ {

/// One end of a data channel: a bounded stream of bytes between the two ends of a transfer.
///
/// The operations below are used by one thread at a time for each end; giveUp() may come from any.
/// Dropping an end without close() is a failure at the other end, never an end of data, and wakes
/// whoever waits there. No operation waits longer than the channel's idle limit without a byte
/// passing; then it fails.
class HOQ_EXPORT HOQChannelEndPrototype
    : public boost::intrusive_ref_counter<HOQChannelEndPrototype, boost::thread_safe_counter> {
 public:
  /// Waits until there is something, and reads up to `count` bytes. 0 with the number in `*got`
  /// (0: the other end was closed and everything was read), or non-zero on failure.
  virtual int read(void* buffer, std::uint64_t count, std::uint64_t* got) = 0;

  /// Passes all `count` bytes on, waiting for room, or fails. 0 with `count` in `*written`, or
  /// non-zero.
  virtual int write(const void* buffer, std::uint64_t count, std::uint64_t* written) = 0;

  /// Ends what this end sends: the other end reads the rest, then the end of the data.
  virtual void close() = 0;

  virtual ~HOQChannelEndPrototype();

  /// Whether the other end can still take part. True by default.
  virtual bool stands() const;

  /// Gives this end up because of `text`: operations of both ends fail from here on. Only the
  /// first text of a channel counts. By default nothing happens.
  virtual void giveUp(const std::string& text);

  /// Why either end gave up, or how the channel itself failed; empty while all is well.
  virtual std::string failure() const;

  /// Whether nothing that is to be read here has still to come, so that no read waits. False by
  /// default.
  virtual bool hasAll() const;
};

using HOQChannelEndPtr = boost::intrusive_ptr<HOQChannelEndPrototype>;

}  // namespace HOQ
