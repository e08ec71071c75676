// Boost's general maximum flow on the capacities of a grid graph: the independent solver beside ours.
#pragma once

#include <boost/graph/boykov_kolmogorov_max_flow.hpp>
#include <boost/graph/compressed_sparse_row_graph.hpp>
#include <cstdint>
#include <utility>
#include <vector>

#include "Proc/Effects/EffectsPhoto/Segmentation/GridGraph.h"

namespace Orvexa::Test {

/// The maximum flow by Boost, in its fastest graph type. Building and solving happen in the constructor.
class BoostGridCut {
public:
    BoostGridCut(std::uint32_t width, std::uint32_t height, const Proc::GridGraph::Capacities& capacities) {
        AddEdges(width, height, capacities);
        Solve();
    }

    std::int64_t GetFlow() const { return flow_; }

    /// One byte a pixel: whether flow could still reach the sink from it. Searched in the residual graph, whatever the
    /// solver's trees are.
    std::vector<std::uint8_t> FindBackground() const {
        std::vector<std::uint8_t> canReachSink(vertices_);
        std::vector<Vertex> found{sink_};
        canReachSink[sink_] = 1;
        while (!found.empty()) {
            const Vertex to = found.back();
            found.pop_back();
            for (std::size_t e = firstOut_[to]; e < firstOut_[to + 1]; ++e) {
                const Vertex from = ends_[e].second;
                if (canReachSink[from] || residual_[reverse_[e].idx] == 0) continue;
                canReachSink[from] = 1;
                found.push_back(from);
            }
        }
        canReachSink.resize(source_);
        return canReachSink;
    }

private:
    struct EdgeIndex {};
    using Vertex = std::uint32_t;
    using Graph = boost::compressed_sparse_row_graph<boost::directedS, boost::no_property, EdgeIndex,
                                                     boost::no_property, Vertex, std::uint32_t>;
    using Edge = boost::graph_traits<Graph>::edge_descriptor;

    void Add(Vertex from, Vertex to, int value) {
        ends_.emplace_back(from, to);
        capacity_.push_back(value);
    }

    // Sorted by start, and for each start by end: the edges into a vertex then come in the order of the edges out of
    // it.
    void AddEdges(std::uint32_t width, std::uint32_t height, const Proc::GridGraph::Capacities& capacities) {
        const Vertex pixels = width * height;
        source_ = pixels, sink_ = pixels + 1, vertices_ = pixels + 2;
        ends_.reserve(5 * std::size_t{pixels});
        capacity_.reserve(5 * std::size_t{pixels});
        for (Vertex p = 0; p < pixels; ++p) {
            if (p >= width) Add(p, p - width, capacities.up[p]);
            if (p % width > 0) Add(p, p - 1, capacities.left[p]);
            if (p % width + 1 < width) Add(p, p + 1, capacities.right[p]);
            if (p + width < pixels) Add(p, p + width, capacities.down[p]);
            if (capacities.source[p] > 0) Add(p, source_, 0);
            if (capacities.sink[p] > 0) Add(p, sink_, capacities.sink[p]);
        }
        for (Vertex p = 0; p < pixels; ++p) {
            if (capacities.source[p] > 0) Add(source_, p, capacities.source[p]);
        }
        for (Vertex p = 0; p < pixels; ++p) {
            if (capacities.sink[p] > 0) Add(sink_, p, 0);
        }
        firstOut_.resize(vertices_ + 1);
        for (const auto& [from, to] : ends_) ++firstOut_[from + 1];
        for (Vertex v = 0; v < vertices_; ++v) firstOut_[v + 1] += firstOut_[v];
    }

    void Solve() {
        const Graph graph(boost::edges_are_sorted, ends_.begin(), ends_.end(), vertices_);
        const auto edgeIndex = get(boost::edge_index, graph);
        const auto vertexIndex = get(boost::vertex_index, graph);
        std::vector<std::size_t> nextOut(firstOut_);
        std::vector<Edge> edge(ends_.size());
        for (auto [e, last] = edges(graph); e != last; ++e) edge[get(edgeIndex, *e)] = *e;
        reverse_.resize(ends_.size());
        for (std::size_t e = 0; e < ends_.size(); ++e) reverse_[e] = edge[nextOut[ends_[e].second]++];

        residual_.resize(ends_.size());
        std::vector<Edge> predecessor(vertices_);
        std::vector<boost::default_color_type> color(vertices_);
        std::vector<std::uint32_t> distance(vertices_);
        flow_ = boost::boykov_kolmogorov_max_flow(
            graph, boost::make_iterator_property_map(capacity_.begin(), edgeIndex),
            boost::make_iterator_property_map(residual_.begin(), edgeIndex),
            boost::make_iterator_property_map(reverse_.begin(), edgeIndex),
            boost::make_iterator_property_map(predecessor.begin(), vertexIndex),
            boost::make_iterator_property_map(color.begin(), vertexIndex),
            boost::make_iterator_property_map(distance.begin(), vertexIndex), vertexIndex, source_, sink_);
    }

    Vertex source_ = 0, sink_ = 0, vertices_ = 0;
    std::vector<std::pair<Vertex, Vertex>> ends_;
    std::vector<int> capacity_, residual_;
    std::vector<std::size_t> firstOut_;
    std::vector<Edge> reverse_;
    std::int64_t flow_ = 0;
};

}  // namespace Orvexa::Test
