// Bytes as a message of texts, arrays, arrays of pointers and lists, in an order that the first byte gives. All kinds of
// stream receive the same of them; what is received is sent and received as the same again; and with an allocation
// refused, which the second byte gives, one free pass releases what was received until then.

#include "ezrpc/ezrpc_xdr.h"
#include "ks/ks_stg.h"
#include "ks/ks_xdr.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

extern "C" {
// Of the host's RPC library; its header wants a socket's types.
extern void xdrrec_create(XDR *, u_int, u_int, void *, int (*)(void *, void *, int), int (*)(void *, void *, int));
extern bool_t xdrrec_skiprecord(XDR *);
}

namespace {

using bytes = std::vector<uint8_t>;

void demand(bool holds, const char *what) {
    if (holds) return;
    std::fprintf(stderr, "violated: %s\n", what);
    std::abort();
}

// ---- the message

constexpr unsigned part_count = 4;

struct entry {
    char *name;
    uint32_t number;
};
struct node {
    char *text;
    node *next;
};
struct part {
    u_int count;
    char *pointer;
};
struct message {
    part parts[part_count];
};

template <class Routine> xdrproc_t as_proc(Routine routine) { return reinterpret_cast<xdrproc_t>(routine); }

bool_t pass_entry(XDR *stream, entry *object) {
    return xdr_ez_string8(stream, &object->name, 100) && xdr_u_int(stream, &object->number);
}
bool_t pass_node(XDR *stream, node *object) {
    return xdr_ez_string8(stream, &object->text, UINT32_MAX) &&
           xdr_ez_pointer(stream, reinterpret_cast<char **>(&object->next), sizeof(node), as_proc(pass_node));
}

bool_t pass_text(XDR *stream, part *p) { return xdr_ez_string8(stream, &p->pointer, UINT32_MAX); }
bool_t pass_texts(XDR *stream, part *p) {
    return xdr_ez_array(stream, &p->pointer, &p->count, UINT32_MAX, sizeof(char *), as_proc(xdr_ez_string8));
}
bool_t pass_entries(XDR *stream, part *p) {
    return xdr_ez_parray(stream, &p->pointer, &p->count, 1000, sizeof(entry), as_proc(pass_entry));
}
bool_t pass_list(XDR *stream, part *p) {
    return xdr_ez_pointer(stream, &p->pointer, sizeof(node), as_proc(pass_node));
}

constexpr bool_t (*part_routines[])(XDR *, part *) = {pass_text, pass_texts, pass_entries, pass_list};
uint8_t plan; // two bits for each part

bool_t pass_message(XDR *stream, message *object) {
    for (unsigned i = 0; i < part_count; i++) {
        if (!part_routines[plan >> 2 * i & 3](stream, &object->parts[i])) return FALSE;
    }
    return TRUE;
}

// ---- streams

// Delivers one byte at a time.
struct transport {
    bytes wire;
    size_t at = 0;

    static int read(void *self, void *to, int) {
        auto *from = static_cast<transport *>(self);
        if (from->at == from->wire.size()) return -1;
        *static_cast<uint8_t *>(to) = from->wire[from->at++];
        return 1;
    }
    static int write(void *, void *, int) { return -1; }
};

bool received_as_record(const bytes &from, message *object) {
    const size_t size = from.size();
    transport peer{{static_cast<uint8_t>(0x80 | size >> 24), static_cast<uint8_t>(size >> 16),
                    static_cast<uint8_t>(size >> 8), static_cast<uint8_t>(size)}};
    peer.wire.insert(peer.wire.end(), from.begin(), from.end());
    XDR stream = {};
    xdrrec_create(&stream, 100, 100, &peer, transport::read, transport::write);
    stream.x_op = XDR_DECODE;
    xdrrec_skiprecord(&stream);
    const bool received = pass_message(&stream, object);
    XDR_DESTROY(&stream);
    return received;
}

bool received_from_memory(bytes from, message *object) {
    const auto size = static_cast<u_int>(from.size());
    from.reserve(1); // never NULL
    XDR stream;
    xdrmem_create(&stream, reinterpret_cast<char *>(from.data()), size, XDR_DECODE);
    return pass_message(&stream, object);
}

bool received_from_storage(const bytes &from, message *object, uint32_t *consumed) {
    XDR stream;
    demand(xdrstg_create_decode_buf(&stream, from.data(), static_cast<uint32_t>(from.size())) == 0, "a stream");
    const bool received = pass_message(&stream, object);
    *consumed = XDR_GETPOS(&stream);
    xdrstg_destroy(&stream);
    return received;
}

bytes sent(message *object) {
    XDR stream;
    demand(xdrstg_create(&stream, XDR_ENCODE, 0) == 0, "a stream that grows");
    demand(pass_message(&stream, object), "what was received can be sent");
    const auto *start = static_cast<const uint8_t *>(xdrstg_buffer(&stream));
    const bytes all(start, start + XDR_GETPOS(&stream));
    xdrstg_destroy(&stream);
    return all;
}

void release(message *object) {
    xdr_ez_free(as_proc(pass_message), object);
    for (const part &p : object->parts) demand(p.pointer == nullptr && p.count == 0, "what is released is not there");
}

// ---- what holds

void receive_on_all(const bytes &from) {
    message by_storage{}, by_memory{}, by_record{}, again{};
    uint32_t consumed = 0;
    const bool received = received_from_storage(from, &by_storage, &consumed);
    demand(received_from_memory(from, &by_memory) == received, "memory is like storage");
    demand(received_as_record(from, &by_record) == received, "a record is like storage");
    if (received) {
        const bytes wire = sent(&by_storage);
        demand(wire.size() == consumed, "what is sent is as long as what was received");
        demand(sent(&by_memory) == wire && sent(&by_record) == wire, "all receive the same");
        demand(received_from_storage(wire, &again, &consumed) && sent(&again) == wire, "what is sent arrives");
    }
    for (message *object : {&by_storage, &by_memory, &by_record, &again}) release(object);
}

int counts_down(void *left) {
    auto *number = static_cast<unsigned *>(left);
    return *number != 0 && --*number == 0;
}

void receive_refused(const bytes &from, unsigned nth) {
    for (const bool recorded : {false, true}) {
        message object{};
        unsigned left = nth;
        stg_set_failure_hook(counts_down, &left);
        const bool received = recorded ? received_as_record(from, &object) : received_from_memory(from, &object);
        stg_set_failure_hook(nullptr, nullptr);
        demand(!received || left != 0, "a refused allocation is a failure");
        release(&object);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size < 2 || size > 1 << 20) return 0;
    plan = data[0];
    const bytes from(data + 2, data + size);
    receive_on_all(from);
    if (data[1] != 0) receive_refused(from, data[1]);
    return 0;
}
