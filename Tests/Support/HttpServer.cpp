#include "Tests/Support/HttpServer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <stdexcept>
#include <utility>

namespace {

// A socket on a free port of the loopback interface.
int boundSocket(int& port) {
  const int number = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = ::htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof address;
  if (number < 0 || ::bind(number, reinterpret_cast<sockaddr*>(&address), length) != 0 ||
      ::getsockname(number, reinterpret_cast<sockaddr*>(&address), &length) != 0)
    throw std::runtime_error("no loopback interface");
  port = ::ntohs(address.sin_port);
  return number;
}

}  // namespace

HttpServer::HttpServer(Handler handler) : handler_(std::move(handler)), socket_(boundSocket(port_)) {
  if (::listen(socket_, 16) != 0) throw std::runtime_error("cannot listen");
  thread_ = std::thread([this] { serve(); });
}

HttpServer::~HttpServer() {
  ::shutdown(socket_, SHUT_RDWR);  // wakes the thread up
  thread_.join();
  ::close(socket_);
}

std::string HttpServer::url(const std::string& path) const {
  return "http://127.0.0.1:" + std::to_string(port_) + path;
}

std::string HttpServer::response(const std::string& status, const std::string& body,
                                 const std::string& headers) {
  return "HTTP/1.1 " + status + "\r\nContent-Length: " + std::to_string(body.size()) +
         "\r\nConnection: close\r\n" + headers + "\r\n" + body;
}

void HttpServer::serve() {
  for (;;) {
    const int connection = ::accept4(socket_, nullptr, nullptr, SOCK_CLOEXEC);
    if (connection < 0) return;
    answer(connection);
    ::close(connection);
  }
}

void HttpServer::answer(int connection) const {
  std::string request;
  char buffer[4096];
  while (request.find("\r\n\r\n") == std::string::npos) {
    const ssize_t count = ::recv(connection, buffer, sizeof buffer, 0);
    if (count <= 0) return;
    request.append(buffer, static_cast<size_t>(count));
  }
  const size_t begin = request.find(' ') + 1;
  const std::string all = handler_(request.substr(begin, request.find(' ', begin) - begin));
  for (size_t sent = 0; sent < all.size();) {
    const ssize_t count = ::send(connection, all.data() + sent, all.size() - sent, MSG_NOSIGNAL);
    if (count <= 0) return;
    sent += static_cast<size_t>(count);
  }
}

int closedPort() {
  int port = 0;
  ::close(boundSocket(port));
  return port;
}
