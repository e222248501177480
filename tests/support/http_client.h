// libcurl as the tests use it: what an ordinary client does.
#pragma once

#include <curl/curl.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace vsd::test {

struct Answer {
  long status = 0;
  std::string headers;
  std::string body;
};

// One libcurl handle, so its connection is kept from request to request.
class HttpClient {
 public:
  HttpClient() : curl_(curl_easy_init()) {}
  HttpClient(const HttpClient&) = delete;
  HttpClient& operator=(const HttpClient&) = delete;
  ~HttpClient() { curl_easy_cleanup(curl_); }

  Answer get(const std::string& url, const std::vector<std::string>& headers = {}) {
    return send(url, nullptr, headers);
  }
  Answer post(const std::string& url, const std::string& body,
              const std::vector<std::string>& headers = {}) {
    return send(url, &body, headers);
  }

  // Connections opened so far.
  long connections() const { return connections_; }

 private:
  static std::size_t append(char* data, std::size_t, std::size_t size, void* text) {
    static_cast<std::string*>(text)->append(data, size);
    return size;
  }

  Answer send(const std::string& url, const std::string* body,
              const std::vector<std::string>& headers) {
    Answer answer;
    curl_easy_reset(curl_);
    curl_slist* list = nullptr;
    for (const auto& header : headers) {
      list = curl_slist_append(list, header.c_str());
    }
    curl_easy_setopt(curl_, CURLOPT_URL, url.c_str());
    curl_easy_setopt(curl_, CURLOPT_HTTPHEADER, list);
    curl_easy_setopt(curl_, CURLOPT_NOPROXY, "*");
    curl_easy_setopt(curl_, CURLOPT_WRITEFUNCTION, append);
    curl_easy_setopt(curl_, CURLOPT_WRITEDATA, &answer.body);
    curl_easy_setopt(curl_, CURLOPT_HEADERDATA, &answer.headers);
    if (body != nullptr) {
      curl_easy_setopt(curl_, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body->size()));
      curl_easy_setopt(curl_, CURLOPT_POSTFIELDS, body->data());
    }
    EXPECT_EQ(curl_easy_perform(curl_), CURLE_OK) << url;
    long opened = 0;
    curl_easy_getinfo(curl_, CURLINFO_NUM_CONNECTS, &opened);
    connections_ += opened;
    curl_easy_getinfo(curl_, CURLINFO_RESPONSE_CODE, &answer.status);
    curl_slist_free_all(list);
    return answer;
  }

  CURL* curl_;
  long connections_ = 0;
};

}  // namespace vsd::test
