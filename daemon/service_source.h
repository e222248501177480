// Makes the next generation of the services: a child process runs the compilers while the parent
// goes on with its work; then the parent reads the declarations and takes the objects that the
// child has made.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "daemon/cli.h"
#include "daemon/file_descriptor.h"
#include "daemon/process/supervisor.h"
#include "daemon/service_generation.h"

namespace vsd {

// The services of a work directory and their scripts, as they are now. Prints what is wrong.
[[nodiscard]] PreparedServices prepare_and_report(const Config& config);
// The same, with their ports opened.
[[nodiscard]] PreparedServices prepare_and_report(const Config& config, Ports& ports,
                                                  std::vector<ServicePort>& service_ports);

class ServiceSource final : public GenerationSource {
 public:
  // `first` is the generation that is served now. `line`, `ports`, `store` and `telemetry`,
  // which may be null, must outlive the source.
  ServiceSource(const CommandLine& line, std::shared_ptr<const ServiceGeneration> first,
                Ports& ports, DataStore& store, Telemetry* telemetry);
  ~ServiceSource() override;

  [[nodiscard]] bool begin(std::string& problem) override;
  [[nodiscard]] int descriptor() const noexcept override { return results_.get(); }
  [[nodiscard]] bool advance() override;
  [[nodiscard]] GenerationPtr finish(std::string& problem) override;
  void cancel() noexcept override;

  // The generation that was made last.
  [[nodiscard]] const ServiceGeneration& latest() const noexcept { return *latest_; }

 private:
  void read_config_anew(std::string& problem);

  const CommandLine& line_;
  Ports& ports_;
  DataStore& store_;
  Telemetry* telemetry_;
  std::shared_ptr<const ServiceGeneration> latest_;
  Config config_;  // of the generation that is being made
  pid_t child_ = -1;
  FileDescriptor results_;
  std::string received_;
};

}  // namespace vsd
