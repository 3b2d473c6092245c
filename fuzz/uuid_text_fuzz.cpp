// Reads any text as an identifier; what is read is written and read back.

#include "tbs/tbs_uuid.h"

#include <cstdlib>
#include <cstring>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const std::string text(reinterpret_cast<const char *>(data), size);
    tbs_uuid_t uuid{}, back{};
    if (tbs_str_to_uuid(text.c_str(), &uuid) != 0) return 0;
    char written[TBS_UUID_STR_SIZE];
    for (const auto write : {tbs_uuid_to_str, tbs_uuid_to_dstr}) {
        if (tbs_str_to_uuid(write(&uuid, written), &back) != 0 || !tbs_uuid_eq(&uuid, &back)) std::abort();
    }
    return 0;
}
