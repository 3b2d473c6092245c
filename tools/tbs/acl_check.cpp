// tbs acl check: decides a request, and tells why.
#include "explain.hpp"

#include "tbs/tbs_msg.h"

#include <new>
#include <nlohmann/json.hpp>

namespace tool {
namespace {

struct options {
    acl_options acl;
    std::string file, want;
    // An option that is given but empty, as by an unset variable, is not an option that is absent.
    std::optional<std::string> as, creds, owner, owner_group;
    bool explain = false;
    bool log = false;
};

// A request with everything that decides it.
struct request {
    const options &o;
    vocabulary words;
    acl_list acl;
    requester who;
    ownership owner;
    tbs_acl_permission_set_t wanted;
};

requester who_asks(const options &o) {
    if (o.as) return requester::of_account(*o.as);
    if (o.creds) return requester::of_file(*o.creds);
    return requester::of_process();
}

ownership owner_of(const options &o) {
    ownership owner;
    if (o.owner) owner.user = resolve(CREDUTL_USER, *o.owner);
    if (o.owner_group) owner.group = resolve(CREDUTL_GROUP, *o.owner_group);
    return owner;
}

void require_decision(tbs_status_t status) {
    if (status == TBS_ST_ENOMEM) throw std::bad_alloc();
    if (status) throw failure(std::string("no decision: ") + tbs_strerror(status), "Treat the request as denied.");
}

struct answer {
    bool granted;
    explanation why;
};

answer decide_by_sid(const request &r) {
    tbs_boolean_t granted = 0;
    require_decision(tbs_sid_acl_check_permission(r.acl.by_sid(), r.wanted, r.who.client(),
                                                  r.owner.user ? &*r.owner.user : nullptr,
                                                  r.owner.group ? &*r.owner.group : nullptr, &granted));
    return {granted != 0, explain_by_sid(r.acl, r.wanted, r.who, r.owner)};
}

answer decide_classic(const request &r) {
    const bool is_owner_user = r.owner.user && credutl_sid_eq(&*r.owner.user, &r.who.sids().user);
    const bool is_owner_group = r.owner.group && credutl_has_group_whole(r.who.whole(), &*r.owner.group);
    tbs_boolean_t granted = 0;
    require_decision(
        tbs_acl_check_permission(r.acl.classic(), r.wanted, r.who.client(), is_owner_user, is_owner_group, &granted));
    return {granted != 0, explain_classic(r.acl, r.wanted, r.who, is_owner_user, is_owner_group)};
}

// The explanation retells what the library decided; should they ever differ, neither is to be trusted.
answer decide(const request &r) {
    answer made = r.acl.is_classic() ? decide_classic(r) : decide_by_sid(r);
    if (made.granted != made.why.granted) {
        throw failure("internal error: the explanation differs from the library's decision",
                      "Treat the request as denied, and report the files.");
    }
    return made;
}

void log_refusal(const request &r, const answer &made) {
    tbs_log_access_failure("tbs", "Access to \"%s\" refused: %s asked for %s, missing %s.\n", IMSG_LITERAL,
                           r.acl.path().c_str(), r.who.user().c_str(), r.words.text(r.wanted).c_str(),
                           r.words.text(made.why.missing).c_str());
}

// ---- text

void print_field(const char *name, const std::string &text) {
    constexpr size_t column = 10;
    print_padded(name, column);
    print_wrapped(text, column, column);
}

std::string groups_text(const requester &who) {
    std::string text = who.primary_group().empty() ? "(no primary group)" : who.primary_group() + " (primary)";
    for (const std::string &group : who.groups()) text += ", " + group;
    return text;
}

void print_step(const step &s, const vocabulary &words) {
    constexpr size_t column = 48;
    const std::string position = s.position ? std::to_string(s.position) : "-";
    print(std::string(position.size() < 4 ? 4 - position.size() : 0, ' ') + position);
    print(s.applied ? "  +  " : "     ");
    if (s.applied) {
        print_bold(s.identity);
    } else {
        print(s.identity);
    }
    size_t used = 9 + width_of(s.identity);
    if (used >= column) {
        end_line();
        used = 0;
    }
    print(std::string(column - used, ' '));
    std::string text = s.reason;
    if (s.applied) {
        text += s.added ? ": adds " + words.text(s.added) : ": adds nothing new";
        text += s.missing ? "; still missing " + words.text(s.missing) : "; nothing is missing";
    }
    print_wrapped(text, column, column);
}

void print_explanation(const request &r, const answer &made) {
    print_field("Request", r.words.text(r.wanted));
    print_field("Client", r.who.user());
    print_field("Groups", groups_text(r.who));
    print_field("Owner", r.o.owner.value_or("(none given)") + ", group " + r.o.owner_group.value_or("(none given)"));
    print_field("Order", r.acl.is_classic() ? "the client's identities are looked up one after the other"
                                            : "entries as they stand in the file");
    for (const step &s : made.why.steps) print_step(s, r.words);
    const size_t seen = made.why.steps.size(), all = r.acl.entries().size();
    if (!r.acl.is_classic() && seen < all) {
        print_wrapped("The other " + std::to_string(all - seen) + " entries are not needed.", 0, 0);
    }
}

void print_decision(const request &r, const answer &made) {
    const char *word = made.granted ? "granted" : "denied";
    print_bold(word);
    std::string text = ": " + r.who.user() + (made.granted ? " may " : " may not ") + r.words.text(r.wanted);
    if (!made.granted) text += "; missing " + r.words.text(made.why.missing);
    print_wrapped(text, width_of(word), 4);
}

// ---- JSON

json steps_as_json(const request &r, const answer &made) {
    json steps = json::array();
    for (const step &s : made.why.steps) {
        steps.push_back({{"entry", s.position ? json(s.position) : json(nullptr)},
                         {"identity", s.identity},
                         {"applied", s.applied},
                         {"reason", s.reason},
                         {"added", r.words.as_json(s.added)},
                         {"missing", r.words.as_json(s.missing)}});
    }
    return steps;
}

void print_as_json(const request &r, const answer &made, int status) {
    json answer = {{"file", r.acl.path()},
                   {"form", r.acl.form()},
                   {"client", r.who.as_json()},
                   {"owner", r.owner.user ? json(sid_text(*r.owner.user)) : json(nullptr)},
                   {"owner_group", r.owner.group ? json(sid_text(*r.owner.group)) : json(nullptr)},
                   {"requested", r.words.as_json(r.wanted)},
                   {"granted", made.granted},
                   {"missing", r.words.as_json(made.why.missing)}};
    if (r.o.explain) answer["explanation"] = steps_as_json(r, made);
    answer["exit_status"] = status;
    print_json(answer);
}

int check(const options &o) {
    vocabulary words(o.acl.permissions);
    const tbs_acl_permission_set_t wanted = words.request(o.want);
    acl_list acl(o.file, o.acl, words);
    const request r{o, std::move(words), std::move(acl), who_asks(o), owner_of(o), wanted};
    const answer made = decide(r);
    const int status = made.granted ? exit_done : exit_negative;
    if (o.log && !made.granted) log_refusal(r, made);
    if (o.acl.as_json) {
        print_as_json(r, made, status);
        return status;
    }
    if (o.explain) print_explanation(r, made);
    print_decision(r, made);
    return status;
}

} // namespace

void add_acl_check(command parent, action &chosen) {
    const auto o = std::make_shared<options>();
    const command check_command = parent.add("check", "Decide a request by an ACL file");
    check_command.positional("file", o->file, "FILE", "ACL file; - for standard input").required();
    check_command.option("--want", o->want, "NAMES", "Permissions asked for, as Read,Delete").required();
    const argument as = check_command.option("--as", o->as, "USER", "Who asks: an account with all its groups");
    check_command.option("--creds", o->creds, "FILE", "Who asks: what a credentials file says").excludes(as);
    check_command.option("--owner", o->owner, "USER", "Owner of the object");
    check_command.option("--owner-group", o->owner_group, "GROUP", "Group of the object");
    check_command.flag("--explain", o->explain, "Tell what applied, what it added, what is missing");
    check_command.flag("--log", o->log, "Record a refusal in the access log of the host");
    o->acl.add_to(check_command);
    o->acl.add_encoded_to(check_command);
    check_command.footer("Without --as and --creds the process that runs the tool asks, with its own groups.\n"
                         "Exit status: 0 granted, 1 denied, 2 no decision for bad input.");
    check_command.runs([o] { return check(*o); }, chosen);
}

} // namespace tool
