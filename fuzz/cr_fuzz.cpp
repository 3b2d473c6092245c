// Bytes as a configuration record. What is decoded encodes, and decodes to the same again; whole or not, one free pass
// releases it.

#include "cr_fuzz_support.hpp"
#include "ezrpc/ezrpc_xdr.h"
#include "ks/ks_xdr.h"

#include <cstdint>
#include <vector>

namespace {

using acl_fuzz::demand;
using cr_fuzz::record;
using bytes = std::vector<uint8_t>;

bool decode(const bytes &from, tbs_cr_t &cr) {
    XDR stream;
    demand(xdrstg_create_decode_buf(&stream, from.data(), static_cast<uint32_t>(from.size())) == 0,
           "a stream over bytes");
    const bool is_decoded = xdr_tbs_cr_t(&stream, &cr);
    xdrstg_destroy(&stream);
    return is_decoded;
}

bytes encode(tbs_cr_t &cr) {
    XDR stream;
    demand(xdrstg_create(&stream, XDR_ENCODE, 0) == 0, "a stream that grows");
    demand(xdr_tbs_cr_t(&stream, &cr), "what was decoded encodes");
    const auto *first = static_cast<const uint8_t *>(xdrstg_buffer(&stream));
    bytes sent(first, first + XDR_GETPOS(&stream));
    xdrstg_destroy(&stream);
    return sent;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static const bool ready = (imsg_set_sink(acl_fuzz::judge, nullptr), true);
    if (!ready || size == 0) return 0;
    record came, again;
    if (!decode({data, data + size}, came.cr)) return 0;
    demand(tbs_cr_is_supported_fmt(&came.cr.format_version), "what is decoded has a format that is known");
    cr_fuzz::narrow_flags(came.cr);
    const bytes sent = encode(came.cr);
    demand(came.cr.format_version == tbs_cr_get_fmt_vers(&came.cr), "encoding sets the format");
    demand(decode(sent, again.cr), "what was encoded decodes");
    demand(encode(again.cr) == sent, "decoding and encoding change nothing");
    return 0;
}
