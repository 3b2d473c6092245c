#include "role_map.hpp"

#include "acl_list.hpp"
#include "client.hpp"
#include "ks/ks_str.h"
#include "memory_stream.hpp"
#include "tbs/tbs_status.h"
#include "text_file.hpp"

#include <algorithm>
#include <new>

namespace tool {
namespace {

constexpr size_t none = static_cast<size_t>(-1);

// What two identities share exactly when the library takes them for the same.
std::string key_of(const tbs_sid_acl_id_t &id) {
    if (id.kind != TBS_ACL_ID_USER && id.kind != TBS_ACL_ID_GROUP) return identity_text(id);
    return std::string(tbs_acl_utl_id_kind_to_str(id.kind)) + ':' + sid_text(id.sid);
}

failure refused(const std::string &path) {
    owned_role_map map;
    const auto messages = messages_of([&] { tbs_rolemap_acl_utl_parse(path.c_str(), map.put()); });
    return {path, line_named_in(messages), "no role map was read, see the message before",
            has_message(messages, "tbs_acl", unknown_identity)
                ? unknown_identity_remedy
                : "Correct the line that it names: Role:name --> kind:DOMAIN\\name."};
}

} // namespace

owned_role_map read_role_map(const std::string &path) {
    check_text_file(path);
    owned_role_map map;
    const tbs_status_t status = tbs_rolemap_acl_utl_parse(path.c_str(), map.put());
    if (status == TBS_ST_ENOMEM) throw std::bad_alloc();
    if (status) throw refused(path);
    return map;
}

std::string role_map_text(tbs_rolemap_acl_h_t map) {
    const memory_stream stream;
    const tbs_status_t status = tbs_rolemap_acl_utl_output(stream.get(), map);
    if (status == TBS_ST_ENOMEM) throw std::bad_alloc();
    if (status) {
        throw failure(std::string("the role map cannot be written: ") + tbs_strerror(status),
                      "Every identity needs a name that an account source knows.");
    }
    return stream.text();
}

parsed_id::parsed_id(const std::string &text) {
    const tbs_status_t status = tbs_sid_acl_utl_id_from_str(text.c_str(), &id_);
    if (status == TBS_ST_ENOMEM) throw std::bad_alloc();
    if (status) {
        throw failure("\"" + text + "\" is no identity, see the message before",
                      "Write kind:DOMAIN\\name, as User:DOMAIN\\name, Group:DOMAIN\\name or Role:name.");
    }
}

bool role_graph::without_case::operator()(const std::string &a, const std::string &b) const {
    return strutl_stricoll(a.c_str(), b.c_str()) < 0;
}

// Finds what reaches each other, in one walk and without recursion: a map may nest as deep as it is long.
class role_graph::components {
public:
    explicit components(std::vector<node> &nodes) : nodes_(nodes), order_(nodes.size(), none), low_(nodes.size()) {
        for (size_t i = 0; i < nodes.size(); i++) nodes[i].component = none;
        for (size_t i = 0; i < nodes.size(); i++) {
            if (order_[i] == none) walk(i);
        }
    }

private:
    struct step {
        size_t at, next; // a node and the edge to follow next
    };

    void enter(size_t at) {
        order_[at] = low_[at] = count_++;
        open_.push_back(at);
        path_.push_back({at, 0});
    }

    void walk(size_t start) {
        enter(start);
        while (!path_.empty()) {
            auto &[at, next] = path_.back();
            if (next < nodes_[at].to.size()) {
                follow(at, nodes_[at].to[next++]);
            } else {
                leave(at);
            }
        }
    }

    void follow(size_t from, size_t to) {
        if (order_[to] == none) {
            enter(to);
        } else if (nodes_[to].component == none) {
            low_[from] = std::min(low_[from], order_[to]);
        }
    }

    void leave(size_t at) {
        path_.pop_back();
        if (!path_.empty()) low_[path_.back().at] = std::min(low_[path_.back().at], low_[at]);
        if (low_[at] != order_[at]) return;
        size_t member;
        do {
            member = open_.back();
            open_.pop_back();
            nodes_[member].component = at;
        } while (member != at);
    }

    std::vector<node> &nodes_;
    std::vector<size_t> order_, low_, open_;
    std::vector<step> path_;
    size_t count_ = 0;
};

size_t role_graph::node_of(const tbs_sid_acl_id_t &id) {
    const auto [at, is_new] = known_.try_emplace(key_of(id), nodes_.size());
    if (is_new) nodes_.push_back({id.kind, identity_text(id), {}, 0});
    return at->second;
}

role_graph::role_graph(tbs_rolemap_acl_h_t map) {
    uint32_t cursor = 0;
    while (const tbs_role_binding_t *binding = tbs_rolemap_acl_next_role_binding(map, &cursor)) {
        node_of(binding->role);
    }
    cursor = 0;
    while (const tbs_role_binding_t *binding = tbs_rolemap_acl_next_role_binding(map, &cursor)) {
        const size_t role = node_of(binding->role);
        const uint64_t count = tbs_rolemap_acl_num_role_binding_ids(binding);
        for (uint64_t i = 0; i < count; i++) {
            const size_t bound = node_of(binding->ids[i]);
            nodes_[role].to.push_back(bound);
            bindings_++;
        }
    }
    components{nodes_};
}

std::vector<std::vector<size_t>> role_graph::loops() const {
    std::vector<std::vector<size_t>> found;
    std::vector<bool> told(nodes_.size());
    for (size_t start = 0; start < nodes_.size(); start++) {
        const size_t component = nodes_[start].component;
        if (told[component]) continue;
        told[component] = true;
        std::map<size_t, size_t> came_from; // the nodes that the search has met, each with the one before it
        std::vector<size_t> queue = {start};
        size_t last = none;
        for (size_t i = 0; i < queue.size() && last == none; i++) {
            for (const size_t to : nodes_[queue[i]].to) {
                if (nodes_[to].component != component) continue;
                if (to == start) {
                    last = queue[i];
                    break;
                }
                if (came_from.try_emplace(to, queue[i]).second) queue.push_back(to);
            }
        }
        if (last == none) continue;
        std::vector<size_t> loop = {start};
        for (size_t at = last; at != start; at = came_from.at(at)) loop.push_back(at);
        loop.push_back(start);
        std::reverse(loop.begin(), loop.end());
        found.push_back(std::move(loop));
    }
    return found;
}

std::vector<role_graph::holding> role_graph::holders() const {
    std::vector<std::vector<size_t>> from(nodes_.size()); // of a role: the roles that it is bound to
    std::vector<holding> held(nodes_.size(), holding::nobody);
    std::vector<size_t> queue;
    for (size_t i = 0; i < nodes_.size(); i++) {
        const auto &to = nodes_[i].to;
        for (const size_t bound : to) from[bound].push_back(i);
        const bool direct = std::any_of(to.begin(), to.end(), [&](size_t n) { return !is_role(nodes_[n]); });
        if (!is_role(nodes_[i]) || !direct) continue;
        held[i] = holding::direct;
        queue.push_back(i);
    }
    for (size_t i = 0; i < queue.size(); i++) {
        for (const size_t above : from[queue[i]]) {
            if (held[above] != holding::nobody) continue;
            held[above] = holding::nested;
            queue.push_back(above);
        }
    }
    for (size_t i = 0; i < nodes_.size(); i++) {
        if (!is_role(nodes_[i])) held[i] = holding::direct;
    }
    return held;
}

} // namespace tool
