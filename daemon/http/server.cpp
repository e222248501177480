#include "daemon/http/server.h"

#include "daemon/http/event_loop.h"

namespace vsd::http {

Server::Server(const HttpLimits& limits, RequestHandler& handler,
               const std::vector<Endpoint>& endpoints)
    : loop_(std::make_unique<EventLoop>(limits, handler, endpoints)) {}

Server::~Server() = default;

void Server::observe(TrafficObserver& observer) {
  loop_->observe(observer);
}

void Server::forward_with(Forwarder& forwarder) {
  loop_->forward_with(forwarder);
}

void Server::on_signal(int signal, std::function<void()> action) {
  loop_->on_signal(signal, std::move(action));
}

void Server::on_retired(std::function<void()> action) {
  loop_->on_retired(std::move(action));
}

void Server::run() {
  loop_->run();
}

void Server::stop() noexcept {
  loop_->wake(EventLoop::kStop);
}

void Server::retire() noexcept {
  loop_->wake(EventLoop::kRetire);
}

void Server::abandon(int socket) {
  loop_->abandon(socket);
}

}  // namespace vsd::http
