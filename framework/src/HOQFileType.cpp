#include <hoq/HOQFileType.h>

#include <iterator>

namespace HOQ {

HOQFileType::~HOQFileType() {
  if (children.empty()) return;
  // Children that nobody else holds give up their own before they go: no recursion, whatever the
  // depth.
  std::vector<boost::shared_ptr<HOQFileType>> rest;
  rest.swap(children);
  while (!rest.empty()) {
    const boost::shared_ptr<HOQFileType> child = std::move(rest.back());
    rest.pop_back();
    if (!child || child.use_count() != 1 || child->children.empty()) continue;
    rest.insert(rest.end(), std::make_move_iterator(child->children.begin()),
                std::make_move_iterator(child->children.end()));
    child->children.clear();
  }
}

}  // namespace HOQ
