// ACL files of any content: read in both forms; what is accepted is printed, written and read again.

#include "acl_fuzz_support.hpp"

using namespace acl_fuzz;

namespace {

std::string output_of(tbs_sid_acl_h_t acl) {
    char *text = nullptr;
    size_t size = 0;
    FILE *stream = open_memstream(&text, &size);
    demand(tbs_sid_acl_utl_output(stream, acl, names, name_count, &map) == 0, "a parsed ACL has a text");
    std::fclose(stream);
    std::string result(text, size);
    std::free(text);
    return result;
}

void read_by_sid(const memory_file &file) {
    tbs_sid_acl_h_t acl = nullptr;
    const tbs_status_t status = tbs_sid_acl_utl_parse(file.path().c_str(), names, name_count, &map, &acl);
    demand((status == 0) == (acl != nullptr), "an ACL exactly for success");
    if (status != 0) return;
    demand(tbs_sid_acl_utl_print(acl, names, name_count, &map) == 0, "an ACL is printed");
    const std::string text = output_of(acl);
    if (text.find(",0x") == std::string::npos && text.find(" 0x") == std::string::npos) {
        const memory_file written;
        written.hold(text.data(), text.size());
        tbs_sid_acl_h_t back = nullptr;
        demand(tbs_sid_acl_utl_parse(written.path().c_str(), names, name_count, &map, &back) == 0,
               "it is read again");
        demand(tbs_sid_acl_cmp_acl(&acl, &back) == 1 && tbs_sid_acl_cmp_acl(&back, &acl) == 1, "it is the same ACL");
        demand(output_of(back) == text, "it is written the same");
        tbs_sid_acl_free(&back);
    }
    tbs_sid_acl_free(&acl);
}

void read_by_name(const memory_file &file) {
    tbs_acl_h_t acl = nullptr;
    const tbs_status_t status = tbs_acl_utl_parse(file.path().c_str(), names, name_count, &map, &acl);
    demand((status == 0) == (acl != nullptr), "an ACL exactly for success");
    if (status != 0) return;
    imsg_list_t *list = imsg_list_create();
    demand(tbs_acl_to_imsg_list(acl, names, name_count, &map, list) == 0, "a parsed ACL has a text");
    demand(imsg_list_count(list) == tbs_acl_num_entries(acl), "one message an entry");
    imsg_list_free(&list);
    demand(tbs_acl_utl_print(acl, names, name_count, &map) == 0, "an ACL is printed");
    tbs_acl_free(&acl);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    prepare();
    static const memory_file file;
    file.hold(data, size);
    read_by_sid(file);
    read_by_name(file);
    return 0;
}
