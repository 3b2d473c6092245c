// vob_peers.hpp - the routines that rpcgen makes of the repository records. Their structs have the names of ours, so that
// the two are never seen together.
#ifndef TESTS_PEERS_VOB_PEERS_HPP
#define TESTS_PEERS_VOB_PEERS_HPP

#include <cstddef>
#include <rpc/types.h>
#include <rpc/xdr.h>
#include <string_view>

struct vob_peer {
    std::string_view name; // of our type, without its ending
    xdrproc_t pass;
    size_t size; // of the object
};

// NULL when there is none.
const vob_peer *find_vob_peer(std::string_view name);

#endif
