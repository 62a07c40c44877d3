#include "front/Admission.h"

namespace HOQ::agent {

Admission::Answer Admission::admit(const std::string& peer) {
  if (count_ >= inAll_) return Answer::TooMany;
  const auto found = byPeer_.find(peer);
  if (found != byPeer_.end() && found->second >= perPeer_) return Answer::TooManyOfPeer;
  ++count_;
  ++byPeer_[peer];
  return Answer::Admitted;
}

void Admission::release(const std::string& peer) {
  const auto found = byPeer_.find(peer);
  if (found == byPeer_.end()) return;
  --count_;
  if (--found->second == 0) byPeer_.erase(found);
}

}  // namespace HOQ::agent
