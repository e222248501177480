#include "daemon/raw/datagram_port.h"

#include <wz/wzlb_sock.h>

#include <cerrno>
#include <ctime>
#include <utility>

namespace vsd::raw {
namespace {

constexpr std::size_t kBufferSize = 64 * 1024;  // more than any datagram has
constexpr int kMessagesPerEvent = 64;           // then the connections have their turn

sockaddr* generic(sockaddr_storage& name) noexcept {
  return reinterpret_cast<sockaddr*>(&name);
}

}  // namespace

DatagramPort::DatagramPort(http::DelayOwner& owner, http::ExchangeContext& context,
                           http::SocketPoller& poller, FileDescriptor socket,
                           const Endpoint& endpoint)
    : owner_(owner),
      context_(context),
      poller_(poller),
      socket_(std::move(socket)),
      endpoint_(endpoint),
      buffer_(std::make_unique_for_overwrite<char[]>(kBufferSize)) {
  poller_.add(socket_.get(), *this, http::SocketPoller::Interest::input);
}

DatagramPort::~DatagramPort() {
  stop_receiving();
}

void DatagramPort::stop_receiving() noexcept {
  if (std::exchange(is_receiving_, false)) {
    poller_.remove(socket_.get(), *this);
  }
}

bool DatagramPort::receive() {
  context_.date.update(std::time(nullptr));
  for (int i = 0; i < kMessagesPerEvent; ++i) {
    Address from{};
    from.length = sizeof from.name;
    const ssize_t size = ::recvfrom(socket_.get(), buffer_.get(), kBufferSize, MSG_DONTWAIT,
                                    generic(from.name), &from.length);
    if (size >= 0) {
      serve({buffer_.get(), static_cast<std::size_t>(size)}, from, http::Clock::now());
    } else if (errno == EAGAIN || errno == EWOULDBLOCK) {
      return false;
    }  // else an answer that was sent before has not found its client
  }
  return true;
}

void DatagramPort::serve(std::string_view message, const Address& from, TimePoint now) {
  http::Request request = endpoint_.request(message);
  Address sender = from;
  request.client = wzlb_sockaddr_to_ip(generic(sender.name), 1);
  if (message.size() > context_.limits.max_body_bytes) {
    context_.response.clear();
    context_.response.status = 413;
    context_.tell_refused(request);
    return;
  }
  context_.answer(request, now);
  if (!make_answer()) {
    return;
  }
  if (context_.response.is_held()) {
    hold(from, now);
  } else {
    send(context_.response.body, from);
  }
}

// Puts the datagram that is to be sent into the response's body. False when there is none.
bool DatagramPort::make_answer() {
  http::Response& response = context_.response;
  switch (response.fault) {
    case http::Fault::reset:
    case http::Fault::empty:
      return false;
    case http::Fault::garbage:
      response.body.clear();
      http::append_garbage(response.body);
      break;
    case http::Fault::close_mid_body:
      response.body.resize(response.body.size() / 2);
      break;
    case http::Fault::slow:
    case http::Fault::none:
      break;
  }
  return !response.is_refusal && !response.body.empty();
}

// What cannot be sent at once is lost, as datagrams are.
void DatagramPort::send(std::string_view body, const Address& to) const noexcept {
  Address address = to;
  ::sendto(socket_.get(), body.data(), body.size(), MSG_DONTWAIT | MSG_NOSIGNAL,
           generic(address.name), address.length);
}

void DatagramPort::hold(const Address& to, TimePoint now) {
  if (waiting_.size() >= context_.limits.max_datagrams) {
    return;  // memory stays bounded; the client sees a lost datagram
  }
  Waiting& answer = waiting_.emplace_back();
  answer.place = std::prev(waiting_.end());
  answer.port = this;
  answer.to = to;
  answer.body = context_.response.body;
  answer.since = now;
  answer.service = context_.response.service;
  owner_.delay(answer, now + context_.response.delay);
}

void DatagramPort::Waiting::resume(TimePoint now) {
  DatagramPort& sender = *port;
  sender.send(body, to);
  if (sender.context_.observer != nullptr) {
    sender.context_.observer->released(service, now - since);
  }
  sender.waiting_.erase(place);
}

}  // namespace vsd::raw
