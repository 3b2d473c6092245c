#include "common/failure.hpp"

#include "ks/ks_errno.h"
#include "tbs/tbs_msg.h"

#include <utility>

namespace mgrs {
namespace {

constexpr uint32_t usage_index = 23; // of the general table

void print_common(int severity, const char *manager, message what, const char *subject, const char *reason) {
    imsg_print_shared(severity, manager, tbs_cmsg_tbs_msg_table_adr(), static_cast<uint32_t>(what), subject, reason);
}

} // namespace

failure::failure(message what, std::string subject, std::string reason, std::string remedy)
    : what_(what), subject_(std::move(subject)), reason_(std::move(reason)), remedy_(std::move(remedy)) {}

failure::failure(message what, std::string subject, int host_error, std::string remedy)
    : failure(what, std::move(subject), imsg_strerror(ks_errno_from_host(host_error)), std::move(remedy)) {}

void failure::report(const char *manager) const {
    print_common(IMSG_ERROR, manager, what_, subject_.c_str(), reason_.c_str());
    if (what_ == message::unknown_operation) {
        print_common(IMSG_FOLLOW_UP, manager, message::indirect_only, "", "");
    }
    if (!remedy_.empty()) imsg_print(IMSG_FOLLOW_UP, "\t%s\n", IMSG_LITERAL, remedy_.c_str());
}

int failure::exit_status() const {
    return what_ == message::bad_syntax || what_ == message::unknown_operation ? exit_usage : exit_failed;
}

void no_operation::report(const char *manager) const {
    imsg_print_shared(IMSG_FOLLOW_UP, manager, tbs_tbs_msg_table_adr(), usage_index, program.c_str());
    print_common(IMSG_FOLLOW_UP, manager, message::indirect_only, "", "");
}

} // namespace mgrs
