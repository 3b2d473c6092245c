// xdr_stream.hpp - XDR streams over bytes.
#ifndef TOOLS_TBS_XDR_STREAM_HPP
#define TOOLS_TBS_XDR_STREAM_HPP

#include "ks/ks_xdr.h"

#include <cstdint>
#include <new>
#include <span>

namespace tool {

class xdr_stream {
public:
    // Decodes bytes, which outlive it.
    explicit xdr_stream(std::span<const uint8_t> from) {
        begun(xdrstg_create_decode_buf(&xdrs_, from.data(), static_cast<uint32_t>(from.size())));
    }
    // Encodes.
    xdr_stream() { begun(xdrstg_create(&xdrs_, XDR_ENCODE, 0)); }
    ~xdr_stream() { xdrstg_destroy(&xdrs_); }
    xdr_stream(const xdr_stream &) = delete;
    xdr_stream &operator=(const xdr_stream &) = delete;

    XDR *get() { return &xdrs_; }
    uint32_t position() { return XDR_GETPOS(&xdrs_); }
    // What was encoded, until more is.
    std::span<const uint8_t> content() { return {static_cast<const uint8_t *>(xdrstg_buffer(&xdrs_)), position()}; }

private:
    static void begun(int error) {
        if (error != 0) throw std::bad_alloc();
    }
    XDR xdrs_{};
};

} // namespace tool

#endif
