#pragma once

#include <functional>
#include <string>
#include <thread>

// A web server on the loopback interface, one request after the other, for as long as it lives. The handler is
// called on a thread of its own with the path asked for and answers all that goes over the wire.
class HttpServer {
 public:
  using Handler = std::function<std::string(const std::string& path)>;

  explicit HttpServer(Handler handler);
  HttpServer(const HttpServer&) = delete;
  HttpServer& operator=(const HttpServer&) = delete;
  ~HttpServer();

  // "http://127.0.0.1:PORT" and the path.
  std::string url(const std::string& path) const;

  // A response with its length.
  static std::string response(const std::string& status, const std::string& body,
                              const std::string& headers = "");

 private:
  void serve();
  void answer(int connection) const;

  Handler handler_;
  int port_ = 0;  // known before the socket, which sets it
  int socket_ = -1;
  std::thread thread_;
};

// A port on which nobody listens.
int closedPort();
