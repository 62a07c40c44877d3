#pragma once

#include <boost/smart_ptr/shared_ptr.hpp>

#include <hoq/HOQExport.h>
#include <hoq/HOQFunctionalMultiplexer.h>
#include <hoq/HOQFunctionality.h>

namespace HOQ {

class HOQFiler;

/// The functionals that the framework knows: name, and the pointer its objects are held by.
/// A further functional joins by one line.
#define HOQ_LIB_FUNCTIONALS(FUNCTIONAL) FUNCTIONAL(Filer, boost::shared_ptr<HOQFiler>)

/// The kit of the service functionals: one multiplexer each, reached through
/// get<Name>Multiplexer(). Built in the table's order, destroyed in reverse.
class HOQ_EXPORT HOQLibFunctionality {
 public:
  HOQLibFunctionality();
  ~HOQLibFunctionality();
  HOQLibFunctionality(const HOQLibFunctionality&) = delete;
  HOQLibFunctionality& operator=(const HOQLibFunctionality&) = delete;

#define HOQ_GET_MULTIPLEXER(Name, ...) \
  HOQFunctionalMultiplexer<__VA_ARGS__>& get##Name##Multiplexer() { return m_##Name; }
  HOQ_LIB_FUNCTIONALS(HOQ_GET_MULTIPLEXER)
#undef HOQ_GET_MULTIPLEXER

 private:
#define HOQ_MULTIPLEXER(Name, ...) HOQFunctionalMultiplexer<__VA_ARGS__> m_##Name{#Name};
  HOQ_LIB_FUNCTIONALS(HOQ_MULTIPLEXER)
#undef HOQ_MULTIPLEXER
};

/// Initialised by libhoqframework, before any library that depends on it.
extern template class HOQFunctionality<HOQLibFunctionality>;

}  // namespace HOQ
