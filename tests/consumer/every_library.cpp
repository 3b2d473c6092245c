// every_library - a C++17 program on each of the platform libraries: bytes through XDR, a registry without view
// roots, the environment, paths.
//
//   every_library        ends with 0 when each answers as its header says
#include <cstdio>
#include <cstring>
#include <ezrpc/ezrpc_xdr.h>
#include <i18n/i18n_mime.h>
#include <ks/ks_errno.h>
#include <ks/ks_stg.h>
#include <ks/ks_str.h>
#include <memory>
#include <mvfs/mvfs_view_root.h>
#include <nt/nt_env.h>

namespace {

struct stg_deleter {
    void operator()(char *text) const { stg_free(text); }
};
using owned_text = std::unique_ptr<char, stg_deleter>;

// Encodes a text and reads it back; one that is longer than its reader allows is refused.
bool travels(const char *text, u_int most) {
    char bytes[64];
    XDR stream;
    xdrmem_create(&stream, bytes, sizeof bytes, XDR_ENCODE);
    char *sent = const_cast<char *>(text);
    if (!xdr_ez_string8(&stream, &sent, sizeof bytes)) return false;

    xdrmem_create(&stream, bytes, sizeof bytes, XDR_DECODE);
    char *got = nullptr;
    const bool read = xdr_ez_string8(&stream, &got, most);
    const owned_text owned(got);
    return read && std::strcmp(text, got) == 0;
}

// What no mail header may hold is encoded.
bool is_encoded(const char *text) {
    char *header = i18n_mime_encode_header(text, "UTF-8", I18N_MIME_BASE64, 0);
    const bool encoded = header && std::strncmp(header, "=?UTF-8?B?", 10) == 0;
    i18n_mime_free(&header);
    return encoded;
}

struct check {
    const char *what;
    bool holds;
};

} // namespace

int main() {
    char value[32] = "";
    mvfs_view_root_t *root = nullptr;
    const owned_text copy(stg_strdup("checked out"));
    const check checks[] = {
        {"liborsikks keeps texts", copy && strutl_stricoll(copy.get(), "CHECKED OUT") == 0},
        {"liborsiknt reads the environment", nt_getenv_safe("CONSUMER", value, sizeof value) == 0 && *value == '1'},
        {"libezrpc moves texts", travels("checked out", 16)},
        {"libezrpc has limits", !travels("checked out", 4)},
        {"liborsiki18n encodes headers", is_encoded("Gr\xc3\xbc\xc3\x9f"
                                                    "e")},
        {"liborsikmvfs knows no view root", mvfs_view_root_open_sil_type(DYVWROOT, &root, 1) == KS_ENOENT && !root},
    };
    int wrong = 0;
    for (const check &one : checks) {
        if (!one.holds) wrong++;
        std::printf("%s: %s\n", one.what, one.holds ? "yes" : "no");
    }
    return wrong == 0 ? 0 : 1;
}
