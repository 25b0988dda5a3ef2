#include "analysis/directed_graph.h"

#include <algorithm>
#include <limits>

namespace ktformula {

namespace {

using Node = GraphNode;

// The edges by the nodes that they leave.
class Adjacency {
 public:
  Adjacency(std::size_t nodes, const GraphEdges& edges)
      : first_(nodes + 1, 0), targets_(edges.size()) {
    for (const auto& [from, to] : edges)
      ++first_[from + 1];
    for (std::size_t node = 0; node < nodes; ++node)
      first_[node + 1] += first_[node];
    std::vector<std::size_t> next(first_.begin(), first_.end() - 1);
    for (const auto& [from, to] : edges)
      targets_[next[from]++] = to;
  }

  std::size_t Begin(Node node) const noexcept { return first_[node]; }
  std::size_t End(Node node) const noexcept { return first_[node + 1]; }
  Node Target(std::size_t edge) const noexcept { return targets_[edge]; }
  bool LeadsToItself(Node node) const noexcept {
    for (std::size_t edge = Begin(node); edge < End(node); ++edge) {
      if (Target(edge) == node) return true;
    }
    return false;
  }

 private:
  std::vector<std::size_t> first_;
  std::vector<Node> targets_;
};

// Tarjan's algorithm, with the calls that are under way in a vector.
class RingFinder {
 public:
  RingFinder(const Adjacency& adjacency, std::size_t nodes)
      : adjacency_(adjacency), order_(nodes, kNotSeen), low_(nodes), is_open_(nodes, false) {}

  std::vector<std::vector<Node>> Find() {
    for (Node node = 0; node < order_.size(); ++node) {
      if (order_[node] == kNotSeen) Visit(node);
    }
    std::sort(rings_.begin(), rings_.end());
    return std::move(rings_);
  }

 private:
  static constexpr Node kNotSeen = std::numeric_limits<Node>::max();
  struct Call {
    Node node;
    std::size_t next_edge;
  };

  void Visit(Node start) {
    Open(start);
    while (!calls_.empty()) {
      Call& call = calls_.back();
      if (call.next_edge < adjacency_.End(call.node)) {
        Follow(call.node, adjacency_.Target(call.next_edge++));
      } else {
        Leave();
      }
    }
  }

  void Open(Node node) {
    order_[node] = low_[node] = next_order_++;
    is_open_[node] = true;
    open_.push_back(node);
    calls_.push_back({node, adjacency_.Begin(node)});
  }

  void Follow(Node from, Node to) {
    if (order_[to] == kNotSeen) {
      Open(to);
    } else if (is_open_[to]) {
      low_[from] = std::min(low_[from], order_[to]);
    }
  }

  void Leave() {
    const Node node = calls_.back().node;
    calls_.pop_back();
    if (!calls_.empty()) {
      Node& caller_low = low_[calls_.back().node];
      caller_low = std::min(caller_low, low_[node]);
    }
    if (low_[node] == order_[node]) Close(node);
  }

  // Everything opened since the node leads to it.
  void Close(Node node) {
    std::vector<Node> ring;
    Node last = node;
    do {
      last = open_.back();
      open_.pop_back();
      is_open_[last] = false;
      ring.push_back(last);
    } while (last != node);
    if (ring.size() == 1 && !adjacency_.LeadsToItself(node)) return;
    std::sort(ring.begin(), ring.end());
    rings_.push_back(std::move(ring));
  }

  const Adjacency& adjacency_;
  // When each node was opened, and the earliest that it leads to.
  std::vector<Node> order_;
  std::vector<Node> low_;
  std::vector<bool> is_open_;
  std::vector<Node> open_;
  std::vector<Call> calls_;
  Node next_order_ = 0;
  std::vector<std::vector<Node>> rings_;
};

}  // namespace

std::vector<std::vector<GraphNode>> RingsOf(std::size_t nodes, const GraphEdges& edges) {
  const Adjacency adjacency(nodes, edges);
  return RingFinder(adjacency, nodes).Find();
}

}  // namespace ktformula
