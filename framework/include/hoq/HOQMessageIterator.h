#pragma once

#include <string>

#include <hoq/HOQExport.h>
#include <hoq/HOQMessage.h>

namespace HOQ {

class HOQMessageIterator;

/// Runs a record's Writer in the child element of its number, or in the element where it stands
/// when the number is the empty one.
template <class Id, class Writer, class EmptyId>
struct HOQWriterIDT {
  template <class Value>
  int operator()(HOQMessageIterator& it, const Value& value, const Writer& writer, Id id) const;
};

/// The same for a Reader.
template <class Id, class Reader>
struct HOQReaderIDT {
  template <class Value>
  int operator()(const HOQMessageIterator& it, Value& value, const Reader& reader, Id id) const;
};

/// Where a message's elements are put and got, by number. It refers to the message, which must
/// outlive it. One thread.
///
/// Every operation returns 0, or -1 when the element cannot be put (a number below 1; a child
/// deeper than HOQMessage::kMaxDepth) or is not there in the kind asked for; the value is then as
/// it was. Of several elements of one number the first counts.
class HOQ_EXPORT HOQMessageIterator {
 public:
  explicit HOQMessageIterator(HOQMessage& message) : message_(&message) {}

  static constexpr int getEmptyID() { return 0; }
  static constexpr bool isIdEmpty(int id) { return id == getEmptyID(); }

  int putString(const std::string& value, int id);
  int putPath(const std::string& value, int id);
  int putInt(int value, int id);
  int putEmpty(int id);

  int getString(std::string& value, int id) const;
  int getPath(std::string& value, int id) const;
  int getInt(int& value, int id) const;

  /// 0 when there is an element of that number, of whatever kind.
  int find(int id) const;

  /// A record with its own Writer and Reader, in a child element of number `id`, or for the empty
  /// one beside the caller's own elements.
  template <class Value>
  int putObj(const Value& value, int id = getEmptyID()) {
    return putObject(value, typename Value::Writer(), id);
  }
  template <class Value>
  int getObj(Value& value, int id = getEmptyID()) const {
    return getObject(value, typename Value::Reader(), id);
  }

  template <class Value, class Writer>
  int putObject(const Value& value, const Writer& writer, int id = getEmptyID()) {
    return HOQWriterIDT<int, Writer, int>()(*this, value, writer, id);
  }

  /// A Reader that reads an element of its own number, such as HOQFilePathReader, says so with
  /// `readsElement` and is handed the number.
  template <class Value, class Reader>
  int getObject(Value& value, const Reader& reader, int id = getEmptyID()) const {
    return HOQReaderIDT<int, Reader>()(*this, value, reader, id);
  }

  /// The iterator of the child element `id`, new at the end or found; good until the next put
  /// beside that element. False: it cannot be put, or is not there.
  bool openChild(int id, HOQMessageIterator& child);
  bool findChild(int id, HOQMessageIterator& child) const;

 private:
  HOQMessageElement* put(int id, HOQMessageElement::Kind kind);
  HOQMessageElement* get(int id, HOQMessageElement::Kind kind) const;

  HOQMessage* message_;
  int depth_ = 1;  // of the elements that are put and got here
};

/// Reads a path element. Used as getObject<std::string, HOQFilePathReader>(value, reader, id).
struct HOQFilePathReader {
  static constexpr bool readsElement = true;
  int operator()(const HOQMessageIterator& it, std::string& value, int id) const {
    return it.getPath(value, id);
  }
};

template <class Id, class Writer, class EmptyId>
template <class Value>
int HOQWriterIDT<Id, Writer, EmptyId>::operator()(HOQMessageIterator& it, const Value& value,
                                                  const Writer& writer, Id id) const {
  if (HOQMessageIterator::isIdEmpty(id)) return writer(it, value);
  HOQMessageIterator child(it);
  return it.openChild(id, child) ? writer(child, value) : -1;
}

template <class Id, class Reader>
template <class Value>
int HOQReaderIDT<Id, Reader>::operator()(const HOQMessageIterator& it, Value& value,
                                         const Reader& reader, Id id) const {
  if constexpr (requires { Reader::readsElement; }) {
    return reader(it, value, id);
  } else {
    if (HOQMessageIterator::isIdEmpty(id)) return reader(it, value);
    HOQMessageIterator child(it);
    return it.findChild(id, child) ? reader(child, value) : -1;
  }
}

}  // namespace HOQ
