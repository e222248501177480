// System calls decide what a request costs: there are one read and one write. The answer is tried
// at once, without waiting for the socket to be writable; waiting is SocketPoller's.
#include "daemon/http/connection.h"

#include <sys/socket.h>
#include <sys/uio.h>

#include <array>
#include <cerrno>
#include <ctime>
#include <exception>
#include <utility>

namespace vsd::http {

Connection::Connection(ConnectionOwner& owner, ExchangeContext& context, SocketPoller& poller,
                       FileDescriptor socket, std::unique_ptr<Dialogue> dialogue)
    : owner_(owner),
      context_(context),
      poller_(poller),
      socket_(std::move(socket)),
      dialogue_(std::move(dialogue)) {
  poller_.add(socket_.get(), *this, interest_);
}

// Input that nobody wants yet takes the registration back only when it arrives: most answers are
// sent before the next request comes.
void Connection::on_ready() {
  const std::shared_ptr<Connection> self = shared_from_this();
  if (wanted_ == Interest::none) {
    if (interest_ == Interest::none) {
      close();  // reported without any interest: the client is gone
    } else {
      watch(Interest::none);
    }
    return;
  }
  const TimePoint now = Clock::now();
  context_.date.update(std::time(nullptr));
  if (wanted_ == Interest::input && !read_available(now)) {
    close();
    return;
  }
  run(now);
}

void Connection::resume(TimePoint now) {
  const std::shared_ptr<Connection> self = shared_from_this();
  run(now);
}

void Connection::watch(Interest interest) {
  wanted_ = interest;
  if (interest != interest_) {
    poller_.change(socket_.get(), *this, interest_ = interest);
  }
}

void Connection::run(TimePoint now) {
  while (open()) {
    const Dialogue::Step step = dialogue_->step(now);
    if (!open()) {
      return;  // the handler has had the connection reset
    }
    switch (step) {
      case Dialogue::Step::read:
        watch(Interest::input);
        if (dialogue_->idle()) {
          owner_.idle(*this);
        }
        return;
      case Dialogue::Step::write:
        switch (send(now)) {
          case Sent::some:
            break;
          case Sent::blocked:
            watch(Interest::output);
            return;
          case Sent::failed:
            close();
            return;
        }
        break;
      case Dialogue::Step::wait:
        wanted_ = Interest::none;
        owner_.delay(*this, dialogue_->due());
        return;
      case Dialogue::Step::forward:
        if (forward(now)) {
          break;
        }
        wanted_ = Interest::none;
        return;
      case Dialogue::Step::shut_down:
        ::shutdown(socket_.get(), SHUT_WR);
        dialogue_->shut_down(now);
        break;
      case Dialogue::Step::reset:
        close_with_reset();
        return;
      case Dialogue::Step::close:
        close();
        return;
    }
  }
}

// Starts or goes on with what a backend answers. False when there is nothing to do but to wait.
bool Connection::forward(TimePoint now) {
  if (forward_ != nullptr) {
    return forward_->resume();
  }
  try {
    forward_ = context_.forwarder->start(*dialogue_->forward_request(), *this);
    return false;
  } catch (const std::exception&) {  // out of memory
    dialogue_->forward_ended(ForwardEnd::failed, now);
    return true;
  }
}

void Connection::on_head(const BackendHead& head) {
  dialogue_->forward_head(head, Clock::now());
}

bool Connection::on_body(std::string_view bytes) {
  return dialogue_->forward_body(bytes, Clock::now());
}

void Connection::on_end(ForwardEnd end) {
  dialogue_->forward_ended(end, Clock::now());
}

void Connection::on_progress() {
  const std::shared_ptr<Connection> self = shared_from_this();
  if (!dialogue_->is_forwarding()) {
    forward_.reset();
  }
  context_.date.update(std::time(nullptr));
  run(Clock::now());
}

void Connection::close() {
  forward_.reset();
  if (open()) {
    poller_.remove(socket_.get(), *this);
    socket_.reset();
    owner_.closed(*this);
  }
}

void Connection::close_with_reset() {
  const linger at_once{1, 0};
  ::setsockopt(socket_.get(), SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once);
  close();
}

void Connection::abandon() {
  forward_.reset();
  if (open()) {
    poller_.remove(socket_.get(), *this);
    static_cast<void>(socket_.release());
    owner_.closed(*this);
  }
}

// Reads what is there. False when the connection is lost.
bool Connection::read_available(TimePoint now) {
  for (;;) {
    const auto space = dialogue_->input_space();
    const ssize_t count = ::recv(socket_.get(), space.data(), space.size(), 0);
    if (count > 0) {
      dialogue_->received(static_cast<std::size_t>(count), now);
      return true;
    }
    if (count == 0) {
      dialogue_->input_ended();
      return true;
    }
    if (errno != EINTR) {
      return errno == EAGAIN || errno == EWOULDBLOCK;
    }
  }
}

Connection::Sent Connection::send(TimePoint now) {
  const auto output = dialogue_->output();
  const auto& [first, second] = output;
  ssize_t count = 0;
  do {
    if (second.empty()) {
      count = ::send(socket_.get(), first.data(), first.size(), MSG_NOSIGNAL);
    } else {
      std::array<iovec, 2> pieces{{{const_cast<char*>(first.data()), first.size()},
                                   {const_cast<char*>(second.data()), second.size()}}};
      msghdr message{};
      message.msg_iov = pieces.data();
      message.msg_iovlen = pieces.size();
      count = ::sendmsg(socket_.get(), &message, MSG_NOSIGNAL);
    }
  } while (count < 0 && errno == EINTR);
  if (count < 0) {
    return errno == EAGAIN || errno == EWOULDBLOCK ? Sent::blocked : Sent::failed;
  }
  dialogue_->written(static_cast<std::size_t>(count), now);
  return Sent::some;
}

void Connection::check_deadline(TimePoint now) {
  if (dialogue_->check_deadline(now)) {
    run(now);
  }
}

void Connection::drain(TimePoint now) {
  if (!dialogue_->idle()) {
    return;
  }
  if (read_available(now)) {
    run(now);
  }
  if (open() && dialogue_->idle()) {
    close();
  }
}

}  // namespace vsd::http
