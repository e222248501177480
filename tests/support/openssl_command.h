// The openssl command, as the other side of what we encrypt and sign.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "tests/support/capture.h"
#include "tests/support/temporary_folder.h"

namespace wz::test {

class OpensslCommand {
 public:
  // Runs the command in a folder of its own with `input` on standard input; returns its output.
  [[nodiscard]] std::string run(const std::string& arguments, const std::string& input = "") const {
    folder_.write("input", input);
    const std::string line =
        "cd " + folder_.path().string() + " && openssl " + arguments + " <input >output 2>errors";
    EXPECT_EQ(std::system(line.c_str()), 0) << line << '\n'
                                            << content_of(folder_.path() / "errors");
    return content_of(folder_.path() / "output");
  }

  // A new RSA key: its private PEM text, and the public one in the folder and as a result.
  struct KeyPair {
    std::string private_key;
    std::string public_key;
  };
  [[nodiscard]] KeyPair new_key(int bits) const {
    const std::string private_key = run("genrsa -traditional " + std::to_string(bits));
    const std::string public_key = run("rsa -pubout", private_key);
    folder_.write("private.pem", private_key);
    folder_.write("public.pem", public_key);
    return {private_key, public_key};
  }

  [[nodiscard]] const TemporaryFolder& folder() const { return folder_; }

 private:
  TemporaryFolder folder_;
};

}  // namespace wz::test
