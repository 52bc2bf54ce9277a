#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace vorn::test {

// Forwards 127.0.0.1:port() to the server's port, until stalled: then it
// neither reads, writes, accepts nor closes anything. Told to cut after a
// text, it closes a connection right after it has passed on a piece of what
// the client sent that holds the text (once).
class TcpProxy {
  public:
    explicit TcpProxy(int target) : m_target(target) {
        m_listener = ::socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in address = loopback(0);
        socklen_t size = sizeof address;
        if (::bind(m_listener, reinterpret_cast<sockaddr*>(&address), size) == 0 &&
            ::listen(m_listener, 16) == 0 &&
            ::getsockname(m_listener, reinterpret_cast<sockaddr*>(&address), &size) == 0) {
            m_port = ntohs(address.sin_port);
        }
        m_thread = std::thread([this] { forward(); });
    }
    ~TcpProxy() {
        m_stop = true;
        m_thread.join();
        for (const auto& [fd, peer] : m_peers) {
            ::close(fd);
        }
        ::close(m_listener);
    }
    TcpProxy(const TcpProxy&) = delete;
    TcpProxy& operator=(const TcpProxy&) = delete;

    int port() const { return m_port; }
    void stall(bool stalled) { m_stalled = stalled; }
    void cutAfter(const std::string& text) {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_cutAfter = text;
    }
    bool cut() const { return m_cut; }

  private:
    static sockaddr_in loopback(int port) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<std::uint16_t>(port));
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        return address;
    }

    void forward() {
        while (!m_stop) {
            if (m_stalled) {
                std::this_thread::sleep_for(std::chrono::milliseconds(20));
                continue;
            }
            std::vector<pollfd> fds{{m_listener, POLLIN, 0}};
            for (const auto& [fd, peer] : m_peers) {
                fds.push_back({fd, POLLIN, 0});
            }
            if (::poll(fds.data(), fds.size(), 20) <= 0) {
                continue;
            }
            for (const pollfd& entry : fds) {
                if ((entry.revents & (POLLIN | POLLHUP | POLLERR)) != 0) {
                    entry.fd == m_listener ? accept() : pass(entry.fd);
                }
            }
        }
    }

    void accept() {
        const int client = ::accept(m_listener, nullptr, nullptr);
        const int server = ::socket(AF_INET, SOCK_STREAM, 0);
        const sockaddr_in address = loopback(m_target);
        if (::connect(server, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
            ::close(client);
            ::close(server);
            return;
        }
        m_peers[client] = server;
        m_peers[server] = client;
        m_clients.insert(client);
    }

    void pass(int fd) {
        const auto found = m_peers.find(fd);
        if (found == m_peers.end()) {
            return;  // closed with its peer in this round
        }
        char buffer[65536];
        const ssize_t got = ::read(fd, buffer, sizeof buffer);
        if (got > 0 &&
            ::send(found->second, buffer, static_cast<std::size_t>(got), MSG_NOSIGNAL) == got &&
            !cutHere(fd, std::string_view(buffer, static_cast<std::size_t>(got)))) {
            return;
        }
        const int peer = found->second;
        m_clients.erase(fd);
        m_clients.erase(peer);
        m_peers.erase(fd);
        m_peers.erase(peer);
        ::close(fd);
        ::close(peer);
    }

    bool cutHere(int fd, std::string_view sent) {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_cutAfter.empty() || m_clients.count(fd) == 0 ||
            sent.find(m_cutAfter) == std::string_view::npos) {
            return false;
        }
        m_cutAfter.clear();
        m_cut = true;
        return true;
    }

    int m_target;
    int m_listener = -1;
    int m_port = 0;
    std::atomic<bool> m_stop{false};
    std::atomic<bool> m_stalled{false};
    std::map<int, int> m_peers;  // each end of a forwarded connection: its other end
    std::set<int> m_clients;     // the ends the clients connected
    std::mutex m_mutex;          // guards m_cutAfter
    std::string m_cutAfter;
    std::atomic<bool> m_cut{false};
    std::thread m_thread;
};

// The port of a URL "scheme://user@host:port/...", and the URL with another.
inline int urlPort(const std::string& url) {
    const std::size_t colon = url.rfind(':');
    return std::stoi(url.substr(colon + 1, url.find('/', colon) - colon - 1));
}
inline std::string withPort(const std::string& url, int port) {
    const std::size_t colon = url.rfind(':');
    return url.substr(0, colon + 1) + std::to_string(port) + url.substr(url.find('/', colon));
}

}  // namespace vorn::test
