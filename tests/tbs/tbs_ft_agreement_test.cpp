// The rules that come with the product beside an independent judge of content: libmagic, over the files of the system
// that the test runs on.
#include "support/env.hpp"
#include "support/under_sanitizer.hpp"
#include "tbs/tbs_ft.h"

#include <algorithm>
#include <clocale>
#include <filesystem>
#include <gtest/gtest.h>
#include <iostream>
#include <map>
#include <string>
#include <string_view>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <vector>

#ifndef ORSIK_HAS_MAGIC

TEST(DefaultRules, AgreeWithLibmagic) { GTEST_SKIP() << "libmagic was not here when this was built"; }

#else

#include <magic.h>

namespace {

constexpr size_t most_files = under_thread_sanitizer ? 2'000 : 20'000;
constexpr size_t fewest_files = 1'000; // below that a percentage says nothing
constexpr double least_agreement = 0.99;

// ---- classes: what both sides can tell apart; all else is text or binary

struct row {
    std::string_view name, of;
};

// Ours, by the first name.
constexpr row classes_of_first_names[] = {
    {"elf_core", "ELF"},
    {"elf_object", "ELF"},
    {"elf_shared_object", "ELF"},
    {"elf_executable", "ELF"},
    {"shared_library", "ELF"}, // by its name, as all are on this system
    {"object", "ELF"},
    {"png_image", "PNG"},
    {"jpeg_image", "JPEG"},
    {"gif_image", "GIF"},
    {"gzip_data", "gzip"},
    {"compressed_svg", "gzip"},
    {"bzip2_data", "bzip2"},
    {"xz_data", "xz"},
    {"zstandard_data", "zstd"},
    {"compressed_tar", "compressed tar"},
    {"zip_archive", "zip"},
    {"java_archive", "zip"},
    {"python_package", "zip"},
    {"office_document", "zip"},
    {"open_document", "zip"},
    {"word_document", "zip"},
    {"spreadsheet", "zip"},
    {"presentation", "zip"},
    {"text_document", "zip"},
    {"electronic_book", "zip"},
    {"pdf_document", "PDF"},
    {"postscript_document", "PostScript"},
    {"sqlite_database", "SQLite"},
    {"pgp_text", "OpenPGP"},
    {"pgp_data", "OpenPGP"},
};
// By any name.
constexpr row classes_of_names[] = {
    {"font", "font"},       {"shell_script", "shell"}, {"python_source", "Python"}, {"html_file", "markup"},
    {"xml_file", "markup"}, {"text_file", "text"},     {"binary_file", "binary"},
};

// Theirs, by the beginning of the MIME type; the first row decides.
constexpr row classes_of_mime_types[] = {
    {"application/x-sharedlib", "ELF"},
    {"application/x-pie-executable", "ELF"},
    {"application/x-executable", "ELF"},
    {"application/x-object", "ELF"},
    {"application/x-coredump", "ELF"},
    {"image/png", "PNG"},
    {"image/jpeg", "JPEG"},
    {"image/gif", "GIF"},
    {"application/gzip", "gzip"},
    {"application/x-bzip2", "bzip2"},
    {"application/x-xz", "xz"},
    {"application/zstd", "zstd"},
    {"application/zip", "zip"},
    {"application/java-archive", "zip"},
    {"application/x-java-jmod", "zip"}, // a zip behind four bytes
    {"application/epub+zip", "zip"},
    {"application/vnd.oasis.opendocument.", "zip"},
    {"application/vnd.openxmlformats-officedocument.", "zip"},
    {"application/pdf", "PDF"},
    {"application/postscript", "PostScript"},
    {"application/vnd.sqlite3", "SQLite"},
    {"application/x-sqlite3", "SQLite"},
    {"application/pgp-", "OpenPGP"},
    {"font/", "font"},
    {"application/font-", "font"},
    {"application/x-font-", "font"},
    {"application/vnd.ms-opentype", "font"},
    {"application/vnd.ms-fontobject", "font"},
    {"application/vnd.font-fontforge-sfd", "font"},
    {"text/x-shellscript", "shell"},
    {"text/x-script.python", "Python"},
    {"text/html", "markup"},
    {"text/xml", "markup"},
    {"image/svg+xml", "markup"},
    {"text/", "text"},
    {"message/", "text"},
    {"application/json", "text"},
    {"application/x-ndjson", "text"},
    {"application/javascript", "text"},
    {"application/x-wine-extension-ini", "text"},
    {"image/x-xpixmap", "text"},
    {"", "binary"},
};

// Pairs that are the same answer in other words; a name of ours may stand in place of a class.
constexpr struct {
    std::string_view ours, theirs, reason;
} same[] = {
    {"Python", "text", "the name tells; libmagic knows a script by the few statements that it looks for"},
    {"markup", "text", "the name tells; libmagic wants a declaration, which parts of documents do not have"},
    {"shell", "text", "the name tells, or the mark of a completion function, which libmagic does not look for"},
    {"config", "markup", "settings in XML are settings"},
    {"markdown_document", "markup", "Markdown may begin with a piece of HTML"},
    {"compressed tar", "gzip", "the name tells what has been packed"},
    {"compressed tar", "bzip2", "the same"},
    {"compressed tar", "xz", "the same"},
    {"compressed tar", "zstd", "the same"},
};

std::string_view class_of(const std::vector<std::string> &names) {
    for (const row &one : classes_of_first_names)
        if (one.name == names[0]) return one.of;
    for (const row &one : classes_of_names)
        if (std::find(names.begin(), names.end(), one.name) != names.end()) return one.of;
    return "none";
}

std::string_view class_of(std::string_view mime_type) {
    return std::find_if(std::begin(classes_of_mime_types), std::end(classes_of_mime_types),
                        [&](const row &one) { return mime_type.starts_with(one.name); })
        ->of;
}

// ---- answers

struct answer {
    std::string path;
    std::vector<std::string> ours;
    std::string theirs;
};

bool is_same(const answer &one) {
    const std::string_view ours = class_of(one.ours), theirs = class_of(one.theirs);
    return ours == theirs || std::any_of(std::begin(same), std::end(same), [&](const auto &pair) {
               return (pair.ours == ours || pair.ours == one.ours[0]) && pair.theirs == theirs;
           });
}

// Files with content, for libmagic says of one byte only that it is too little.
std::vector<answer> files_of_the_system() {
    using namespace std::filesystem;
    std::vector<std::string> all;
    std::error_code error;
    for (const char *root : {"/usr/include", "/usr/share", "/usr/lib"}) {
        for (const auto &entry :
             recursive_directory_iterator(root, directory_options::skip_permission_denied, error)) {
            if (entry.is_symlink(error) || !entry.is_regular_file(error) || entry.file_size(error) < 2) continue;
            if (access(entry.path().c_str(), R_OK) == 0) all.push_back(entry.path());
        }
    }
    std::sort(all.begin(), all.end());
    std::vector<answer> chosen(std::min(all.size(), most_files));
    for (size_t i = 0; i < chosen.size(); i++) chosen[i].path = all[i * all.size() / chosen.size()];
    return chosen;
}

// Asks both sides about every other file.
void ask(std::vector<answer> &files, size_t first) {
    const magic_t magic = magic_open(MAGIC_MIME_TYPE);
    ASSERT_TRUE(magic && magic_load(magic, nullptr) == 0) << "libmagic has no rules";
    for (size_t i = first; i < files.size(); i += 2) {
        answer &one = files[i];
        const char *const *names = nullptr;
        const int result = tbs_file_type(one.path.c_str(), TBS_FT_NOT_OPEN, nullptr, &names);
        const char *type = magic_file(magic, one.path.c_str());
        if (result != 0 || !type) continue; // it went away meanwhile
        one.theirs = type;
        while (*names) one.ours.emplace_back(*names++);
    }
    magic_close(magic);
}

} // namespace

TEST(DefaultRules, AgreeWithLibmagic) {
    if (!std::setlocale(LC_ALL, "C.UTF-8")) GTEST_SKIP() << "this host has no locale C.UTF-8";
    const scoped_env rules("MAGIC_PATH", ORSIK_SOURCE_DIR "/data/magic");
    std::vector<answer> files = files_of_the_system();
    if (files.size() < fewest_files) GTEST_SKIP() << "this host has too few files";
    {
        std::jthread other([&] { ask(files, 1); });
        ask(files, 0);
    }
    ASSERT_FALSE(HasFailure());

    size_t compared = 0, agreed = 0;
    std::map<std::string, std::vector<const answer *>> disagreements;
    for (const answer &one : files) {
        if (one.ours.empty()) continue;
        compared++;
        if (is_same(one)) {
            agreed++;
        } else {
            const std::string pair = std::string(class_of(one.ours)) + " / " + std::string(class_of(one.theirs));
            disagreements[pair].push_back(&one);
        }
    }
    std::cout << agreed << " of " << compared << " agree\nours / theirs:\n";
    for (const auto &[pair, of] : disagreements)
        std::cout << "  " << of.size() << "  " << pair << ", as " << of[0]->ours[0] << " / " << of[0]->theirs << ", "
                  << of[0]->path << '\n';
    EXPECT_GE(compared, files.size() * 99 / 100);
    EXPECT_GE(static_cast<double>(agreed), least_agreement * static_cast<double>(compared));
}

#endif
