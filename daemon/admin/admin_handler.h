// Serves the pages of the admin listener.
#pragma once

#include "daemon/admin/admin_view.h"
#include "daemon/http/message.h"

namespace vsd {

class AdminHandler final : public http::RequestHandler {
 public:
  // `view` must outlive the handler.
  explicit AdminHandler(const AdminView& view) : view_(view) {}

  void handle(const http::Request& request, http::Response& response) override;

 private:
  const AdminView& view_;
};

}  // namespace vsd
