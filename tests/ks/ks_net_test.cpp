#include "ks/ks_net.h"

#include "ks/ks_errno.h"
#include "ks/ks_stg.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

namespace {

// What the host's calls answer in place of the truth.
struct host_answers {
    int resolver = 0;           // EAI_...
    std::vector<int> polls;     // errors of the next ones
    std::vector<int> transfers; // of the next recv() and send()
};
host_answers scripted;

int next_error(std::vector<int> &errors) {
    if (errors.empty()) return 0;
    errno = errors.back();
    errors.pop_back();
    return -1;
}

} // namespace

extern "C" [[gnu::visibility("default")]] int getaddrinfo(const char *host, const char *service,
                                                          const addrinfo *wanted, addrinfo **found) {
    static const auto next = reinterpret_cast<decltype(&getaddrinfo)>(dlsym(RTLD_NEXT, "getaddrinfo"));
    errno = EMFILE;
    return scripted.resolver != 0 ? scripted.resolver : next(host, service, wanted, found);
}

extern "C" [[gnu::visibility("default")]] int poll(pollfd *all, nfds_t count, int limit) {
    static const auto next = reinterpret_cast<decltype(&poll)>(dlsym(RTLD_NEXT, "poll"));
    return next_error(scripted.polls) != 0 ? -1 : next(all, count, limit);
}

extern "C" [[gnu::visibility("default")]] ssize_t recv(int fd, void *buffer, size_t size, int flags) {
    static const auto next = reinterpret_cast<decltype(&recv)>(dlsym(RTLD_NEXT, "recv"));
    return next_error(scripted.transfers) != 0 ? -1 : next(fd, buffer, size, flags);
}

extern "C" [[gnu::visibility("default")]] ssize_t send(int fd, const void *data, size_t size, int flags) {
    static const auto next = reinterpret_cast<decltype(&send)>(dlsym(RTLD_NEXT, "send"));
    return next_error(scripted.transfers) != 0 ? -1 : next(fd, data, size, flags);
}

namespace {

std::vector<sysutl_sockaddr_t> resolved(const char *host, const char *service) {
    sysutl_sockaddr_t *addresses = nullptr;
    size_t count = 0;
    if (sysutl_host_addr(host, service, &addresses, &count) != 0) return {};
    std::vector<sysutl_sockaddr_t> all(addresses, addresses + count);
    stg_free(addresses);
    return all;
}

std::string text_of(const sysutl_sockaddr_t &address) {
    char text[SYSUTL_SOCKADDR_STR_SIZE];
    return sysutl_sockaddr_to_str(&address, text, sizeof text) == 0 ? text : "";
}

// A listening socket, and one connected to it.
class Socket : public testing::Test {
protected:
    Socket() : listener(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in own{};
        own.sin_family = AF_INET;
        own.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof own;
        EXPECT_EQ(bind(listener, reinterpret_cast<sockaddr *>(&own), size), 0);
        EXPECT_EQ(getsockname(listener, reinterpret_cast<sockaddr *>(&own), &size), 0);
        EXPECT_EQ(sysutl_copy_sockaddr(&address, &own), 0);
    }
    ~Socket() override {
        ks_socket_close(&client);
        for (const int fd : {peer, listener}) {
            if (fd >= 0) close(fd);
        }
    }
    void connect_both() {
        ASSERT_EQ(listen(listener, 1), 0);
        ASSERT_EQ(ks_socket_create(&address, &client), 0);
        ASSERT_EQ(ks_socket_connect(client, &address, 5000), 0);
        ASSERT_GE(peer = accept(listener, nullptr, nullptr), 0);
    }

    int listener, peer = -1;
    sysutl_sockaddr_t address;
    ks_socket_t client = KS_NO_SOCKET;
};

TEST(SysutlHostAddr, TakesAddressesOfBothFamilies) {
    const auto ipv4 = resolved("192.0.2.1", "25"), ipv6 = resolved("2001:db8::1", "65535");
    ASSERT_EQ(ipv4.size(), 1u);
    ASSERT_EQ(ipv6.size(), 1u);
    EXPECT_EQ(text_of(ipv4[0]), "192.0.2.1:25");
    EXPECT_EQ(text_of(ipv6[0]), "[2001:db8::1]:65535");
    EXPECT_EQ(sysutl_sockaddr_size(&ipv4[0]), sizeof(sockaddr_in));
    EXPECT_EQ(sysutl_sockaddr_size(&ipv6[0]), sizeof(sockaddr_in6));
}

TEST(SysutlHostAddr, TellsWhatIsNoHost) {
    sysutl_sockaddr_t *addresses = nullptr;
    size_t count = 7;
    EXPECT_EQ(sysutl_host_addr("a..b", "25", &addresses, &count), KS_ENOENT);
    EXPECT_EQ(ks_errno, KS_ENOENT);
    EXPECT_EQ(sysutl_host_addr("127.0.0.1", "no such service", &addresses, &count), KS_ENOENT);
    EXPECT_EQ(sysutl_host_addr("", "25", &addresses, &count), KS_EINVAL);
    EXPECT_EQ(sysutl_host_addr("127.0.0.1", "", &addresses, &count), KS_EINVAL);
    EXPECT_EQ(sysutl_host_addr(nullptr, "25", &addresses, &count), KS_EINVAL);
    EXPECT_EQ(sysutl_host_addr("127.0.0.1", nullptr, &addresses, &count), KS_EINVAL);
    EXPECT_EQ(sysutl_host_addr("127.0.0.1", "25", nullptr, &count), KS_EINVAL);
    EXPECT_EQ(sysutl_host_addr("127.0.0.1", "25", &addresses, nullptr), KS_EINVAL);
    EXPECT_EQ(addresses, nullptr);
    EXPECT_EQ(count, 7u);
}

TEST(SysutlHostAddr, TellsAResolverThatFailsFromAHostThatIsNone) {
    sysutl_sockaddr_t *addresses = nullptr;
    size_t count = 7;
    for (const auto &[code, error] : {std::pair{EAI_AGAIN, int{KS_EAGAIN}},
                                      {EAI_MEMORY, KS_ENOMEM},
                                      {EAI_SYSTEM, KS_EMFILE},
                                      {EAI_FAIL, KS_EIO},
                                      {EAI_NODATA, KS_ENOENT},
                                      {EAI_ADDRFAMILY, KS_ENOENT},
                                      {EAI_FAMILY, KS_ENOENT}}) {
        scripted.resolver = code;
        EXPECT_EQ(sysutl_host_addr("host", "25", &addresses, &count), error) << gai_strerror(code);
    }
    scripted.resolver = 0;
    EXPECT_EQ(addresses, nullptr);
    EXPECT_EQ(count, 7u);
}

TEST(SysutlSockaddr, RefusesOtherFamiliesAndBuffersThatAreTooSmall) {
    sysutl_sockaddr_t none{}, copy;
    char text[SYSUTL_SOCKADDR_STR_SIZE];
    EXPECT_EQ(sysutl_sockaddr_size(&none), 0u);
    EXPECT_EQ(sysutl_sockaddr_size(nullptr), 0u);
    EXPECT_EQ(sysutl_copy_sockaddr(&copy, &none), KS_EINVAL);
    EXPECT_EQ(sysutl_copy_sockaddr(&copy, nullptr), KS_EINVAL);
    EXPECT_EQ(sysutl_copy_sockaddr(nullptr, &none), KS_EINVAL);
    EXPECT_EQ(sysutl_sockaddr_to_str(&none, text, sizeof text), KS_EINVAL);
    EXPECT_EQ(sysutl_sockaddr_to_str(nullptr, text, sizeof text), KS_EINVAL);
    const auto address = resolved("192.0.2.1", "25");
    ASSERT_EQ(address.size(), 1u);
    EXPECT_EQ(sysutl_sockaddr_to_str(&address[0], text, 13), 0);
    EXPECT_STREQ(text, "192.0.2.1:25");
    EXPECT_EQ(sysutl_sockaddr_to_str(&address[0], text, 12), KS_ENAMETOOLONG);
    EXPECT_STREQ(text, "");
    EXPECT_EQ(sysutl_sockaddr_to_str(&address[0], nullptr, 12), KS_EINVAL);
    ks_socket_t socket = 7;
    EXPECT_EQ(ks_socket_create(&none, &socket), KS_EINVAL);
    EXPECT_EQ(ks_socket_create(&address[0], nullptr), KS_EINVAL);
    EXPECT_EQ(socket, 7);
}

TEST_F(Socket, CarriesBytesBothWays) {
    connect_both();
    const int fd = static_cast<int>(client);
    int at_once = 0;
    socklen_t size = sizeof at_once;
    EXPECT_EQ(getsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &at_once, &size), 0);
    EXPECT_NE(at_once, 0);
    EXPECT_NE(fcntl(fd, F_GETFD) & FD_CLOEXEC, 0);

    size_t count = 9;
    EXPECT_EQ(ks_socket_send(client, "hello", 5, 0, 5000, &count), 0);
    EXPECT_EQ(count, 5u);
    EXPECT_EQ(ks_socket_send(client, nullptr, 0, 0, 5000, &count), 0);
    char buffer[16] = "";
    EXPECT_EQ(read(peer, buffer, sizeof buffer), 5);
    EXPECT_EQ(write(peer, "good day", 8), 8);
    EXPECT_EQ(ks_socket_receive(client, buffer, 4, 5000, &count), 0);
    EXPECT_EQ(std::string(buffer, count), "good");
    EXPECT_EQ(ks_socket_receive(client, buffer, sizeof buffer, 0, &count), 0);
    EXPECT_EQ(std::string(buffer, count), " day");
    EXPECT_EQ(shutdown(peer, SHUT_WR), 0);
    EXPECT_EQ(ks_socket_receive(client, buffer, sizeof buffer, 5000, &count), 0);
    EXPECT_EQ(count, 0u);
}

TEST_F(Socket, WaitsNoLongerThanItMay) {
    connect_both();
    char buffer[16];
    size_t count = 7;
    EXPECT_EQ(ks_socket_receive(client, buffer, sizeof buffer, 0, &count), KS_ETIMEDOUT);
    EXPECT_EQ(ks_socket_receive(client, buffer, sizeof buffer, 10, &count), KS_ETIMEDOUT);
    EXPECT_EQ(count, 7u);
    const std::string much(64 << 20, 'x');
    EXPECT_EQ(ks_socket_send(client, much.data(), much.size(), 0, 10, &count), KS_ETIMEDOUT);
    EXPECT_GT(count, 0u);
    EXPECT_LT(count, much.size());
    // What was cut off stays cut off, and SIGPIPE does not end this program.
    EXPECT_NE(ks_socket_send(client, "x", 1, 0, 10, &count), 0);
    EXPECT_EQ(count, 0u);
}

TEST_F(Socket, GoesOnAfterAnInterruptionAndNotAfterAFailure) {
    ASSERT_EQ(listen(listener, 1), 0);
    ASSERT_EQ(ks_socket_create(&address, &client), 0);
    scripted.polls = {EINTR, EINTR};
    EXPECT_EQ(ks_socket_connect(client, &address, 5000), 0);
    EXPECT_TRUE(scripted.polls.empty());
    ASSERT_GE(peer = accept(listener, nullptr, nullptr), 0);
    char buffer[16] = "";
    size_t count = 0;
    scripted.transfers = {EINTR, EINTR};
    EXPECT_EQ(ks_socket_send(client, "hello", 5, 0, 5000, &count), 0);
    EXPECT_TRUE(scripted.transfers.empty());
    EXPECT_EQ(write(peer, "good day", 8), 8);
    scripted.transfers = {EINTR};
    EXPECT_EQ(ks_socket_receive(client, buffer, sizeof buffer, 5000, &count), 0);
    EXPECT_EQ(std::string(buffer, count), "good day");

    scripted.transfers = {ECONNRESET};
    EXPECT_EQ(ks_socket_receive(client, buffer, sizeof buffer, 5000, &count), ks_errno_from_host(ECONNRESET));
    scripted.transfers = {EAGAIN};
    scripted.polls = {ENOMEM};
    EXPECT_EQ(ks_socket_send(client, "x", 1, 0, 5000, &count), KS_ENOMEM);
    EXPECT_EQ(count, 0u);
}

TEST_F(Socket, TellsWhenNobodyListens) {
    ASSERT_EQ(ks_socket_create(&address, &client), 0);
    EXPECT_EQ(ks_socket_connect(client, &address, 5000), ks_errno_from_host(ECONNREFUSED));
    size_t count = 7;
    EXPECT_NE(ks_socket_send(client, "x", 1, 0, 5000, &count), 0);
    EXPECT_EQ(count, 0u);
}

TEST_F(Socket, GivesUpAConnectionThatNobodyAnswers) {
    // One connection fills the queue; the host does not answer those behind it.
    ASSERT_EQ(listen(listener, 0), 0);
    std::vector<ks_socket_t> waiting;
    int error = 0;
    while (error == 0 && waiting.size() < 8) {
        ks_socket_t one = KS_NO_SOCKET;
        ASSERT_EQ(ks_socket_create(&address, &one), 0);
        waiting.push_back(one);
        error = ks_socket_connect(one, &address, 20);
    }
    EXPECT_EQ(error, KS_ETIMEDOUT);
    size_t count = 7;
    EXPECT_NE(ks_socket_send(waiting.back(), "x", 1, 0, 60000, &count), 0); // at once
    for (ks_socket_t &one : waiting) ks_socket_close(&one);
}

TEST_F(Socket, RefusesWhatIsNotThere) {
    connect_both();
    char buffer[4];
    size_t count = 0;
    EXPECT_EQ(ks_socket_connect(client, nullptr, 10), KS_EINVAL);
    EXPECT_EQ(ks_socket_send(client, nullptr, 1, 0, 10, &count), KS_EINVAL);
    EXPECT_EQ(ks_socket_send(client, "x", 1, 0, 10, nullptr), KS_EINVAL);
    EXPECT_EQ(ks_socket_receive(client, nullptr, 1, 10, &count), KS_EINVAL);
    EXPECT_EQ(ks_socket_receive(client, buffer, 0, 10, &count), KS_EINVAL);
    EXPECT_EQ(ks_socket_receive(client, buffer, 1, 10, nullptr), KS_EINVAL);
    ks_socket_close(&client);
    EXPECT_EQ(client, KS_NO_SOCKET);
    ks_socket_close(&client);
    ks_socket_close(nullptr);
    EXPECT_EQ(ks_socket_send(client, "x", 1, 0, 10, &count), KS_EBADF);
    EXPECT_EQ(ks_socket_receive(client, buffer, 1, 10, &count), KS_EBADF);
    EXPECT_EQ(ks_socket_connect(client, &address, 10), KS_EBADF);
}

} // namespace
