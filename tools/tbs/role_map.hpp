// role_map.hpp - a role map read from a file, and the graph of who is bound to what.
#ifndef TOOLS_TBS_ROLE_MAP_HPP
#define TOOLS_TBS_ROLE_MAP_HPP

#include "output.hpp"
#include "tbs/tbs_rolemap.h"
#include "tool.hpp"

#include <map>
#include <string>
#include <vector>

namespace tool {

using owned_role_map = owned<tbs_rolemap_acl_h_t, tbs_rolemap_acl_free>;

// Reads a role map. Throws failure; the library has printed what is wrong with the line.
owned_role_map read_role_map(const std::string &path);

// The text of a map, in the form that is read. Throws failure.
std::string role_map_text(tbs_rolemap_acl_h_t map);

// An identity read from its text. Throws failure; the library has printed what is wrong.
class parsed_id {
public:
    explicit parsed_id(const std::string &text);
    ~parsed_id() { tbs_sid_acl_free_id(&id_); }
    parsed_id(const parsed_id &) = delete;
    parsed_id &operator=(const parsed_id &) = delete;

    [[nodiscard]] const tbs_sid_acl_id_t *get() const { return &id_; }

private:
    tbs_sid_acl_id_t id_ = {};
};

// Roles and those who are bound to them. Roles are the same without case, accounts by SID.
class role_graph {
public:
    struct node {
        tbs_acl_id_kind_t kind;
        std::string text;       // "Role:reviewer"
        std::vector<size_t> to; // of a role: what is bound to it
        size_t component;       // nodes of one component reach each other
    };
    enum class holding {
        direct, // by an identity that is no role
        nested, // only by way of other roles
        nobody
    };

    explicit role_graph(tbs_rolemap_acl_h_t map);

    // The roles of the map in its order, then the others as they first occur.
    [[nodiscard]] const std::vector<node> &nodes() const { return nodes_; }
    [[nodiscard]] size_t bindings() const { return bindings_; } // pairs of a role and an identity
    [[nodiscard]] static bool is_role(const node &n) { return n.kind == TBS_ACL_ID_ROLE; }
    // Whether a binding is part of a loop.
    [[nodiscard]] bool in_loop(size_t from, size_t to) const {
        return nodes_[from].component == nodes_[to].component;
    }
    // One loop for each set of roles that reach each other: a shortest way from its first role back to it.
    [[nodiscard]] std::vector<std::vector<size_t>> loops() const;
    // Who holds each node that is a role; others count as held.
    [[nodiscard]] std::vector<holding> holders() const;

private:
    class components;
    size_t node_of(const tbs_sid_acl_id_t &id);

    struct without_case {
        bool operator()(const std::string &a, const std::string &b) const;
    };

    std::map<std::string, size_t, without_case> known_;
    std::vector<node> nodes_;
    size_t bindings_ = 0;
};

} // namespace tool

#endif
