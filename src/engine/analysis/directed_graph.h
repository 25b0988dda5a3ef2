// Rings of a graph.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace ktformula {

// Nodes are numbers from 0; an edge leads from the first one to the second.
using GraphNode = std::uint32_t;
using GraphEdges = std::vector<std::pair<GraphNode, GraphNode>>;

// The nodes that lead to one another, or a single one that leads to itself: each ring in the order
// of its nodes, and the rings in the order of their first ones. Takes time and memory in proportion
// to nodes and edges, and little of the stack however long a way is.
std::vector<std::vector<GraphNode>> RingsOf(std::size_t nodes, const GraphEdges& edges);

}  // namespace ktformula
