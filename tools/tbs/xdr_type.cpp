#include "xdr_type.hpp"

#include "ezrpc/ezrpc_xdr.h"
#include "xdr_stream.hpp"

#include <algorithm>

namespace tool {
namespace {

namespace wire = tbs::wire;

// An object of a type, zero-filled.
class object {
public:
    explicit object(const wire_type &type) : type_(type), memory_(type.size / sizeof(uint64_t) + 1) {}
    ~object() { xdr_ez_free(type_.pass, memory_.data()); }
    object(const object &) = delete;
    object &operator=(const object &) = delete;

    bool pass(XDR *stream) { return type_.pass(stream, memory_.data()) && XDR_GETPOS(stream) > 0; }

private:
    const wire_type &type_;
    std::vector<uint64_t> memory_;
};

} // namespace

const std::vector<wire_type> &xdr_types() {
    static const std::vector<wire_type> types = [] {
        const auto vob = wire::vob_types();
        std::vector<wire_type> all = {wire::record_type("tbs_cr_compressed_t", xdr_tbs_cr_compressed_t),
                                      wire::record_type("tbs_cr_t", xdr_tbs_cr_t),
                                      wire::record_type("tbs_fstat_db_t", xdr_tbs_fstat_db_t),
                                      wire::record_type("tbs_fstat_t", xdr_tbs_fstat_t)};
        all.insert(all.end(), vob.begin(), vob.end());
        return all;
    }();
    return types;
}

const wire_type &xdr_type_called(const std::string &name) {
    const std::string_view bare = std::string_view(name).substr(name.starts_with("xdr_") ? 4 : 0);
    const auto found = std::ranges::find(xdr_types(), bare, &wire_type::name);
    if (found != xdr_types().end()) return *found;
    throw failure('"' + name + "\" is no type of a record", "\"tbs xdr types\" lists them.");
}

std::string_view kind_text(const wire_type &type) { return kind_texts()[static_cast<size_t>(type.kind)]; }

const std::vector<std::string> &kind_texts() {
    static_assert(static_cast<size_t>(wire::type_kind::handle) == 5);
    static const std::vector<std::string> texts = {"number", "enumeration", "flags",
                                                   "record", "union",       "handle"}; // as type_kind
    return texts;
}

std::string name_text(const wire::layout &record) {
    std::string name(record.name);
    if (name.ends_with("_s")) name.resize(name.size() - 2);
    return name.ends_with("_t") ? name : name + "_t";
}

void require_decodable(const wire_type &type, const bytes &encoded) {
    object one(type);
    xdr_stream from(encoded);
    if (one.pass(from.get()) && from.position() == encoded.size()) return;
    throw failure(std::string("internal error: these are not the bytes of one ") + type.name,
                  "Report the command line and its files.");
}

} // namespace tool
