// The openssl command, as the other side of what we encrypt and sign.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <utility>

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

  // A new RSA key: its private and its public PEM text, also as private.pem and public.pem.
  [[nodiscard]] std::pair<std::string, std::string> new_key(int bits) const {
    folder_.write("private.pem", run("genrsa -traditional " + std::to_string(bits)));
    folder_.write("public.pem", run("rsa -in private.pem -pubout"));
    return {content_of(folder_.path() / "private.pem"), content_of(folder_.path() / "public.pem")};
  }

 private:
  TemporaryFolder folder_;
};

}  // namespace wz::test
