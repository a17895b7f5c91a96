#include "JobSpec.h"

#include <algorithm>
#include <tuple>

#include "Plist.h"

namespace {

bool validServiceName(const std::string& name) {
  return !name.empty() && name != "." && name != ".." && name.find('/') == std::string::npos;
}

}  // namespace

std::optional<JobSpec> JobSpec::load(const std::string& path, std::string& error) {
  Plist plist = Plist::load(path);
  if (!plist.isDict()) {
    error = "not a property list dictionary";
    return std::nullopt;
  }
  plist_t root = plist.get();
  JobSpec spec;
  spec.path = path;
  spec.label = Plist::string(root, "Label").value_or("");
  if (spec.label.empty()) {
    error = "no Label";
    return std::nullopt;
  }
  if (Plist::boolean(root, "Disabled").value_or(false)) {
    error = "disabled";
    return std::nullopt;
  }
  spec.arguments = Plist::strings(root, "ProgramArguments").value_or(std::vector<std::string>{});
  spec.program = Plist::string(root, "Program").value_or("");
  if (spec.program.empty() && !spec.arguments.empty()) spec.program = spec.arguments.front();
  if (spec.program.empty()) {
    error = "neither Program nor ProgramArguments";
    return std::nullopt;
  }
  if (spec.program.front() != '/') {
    error = "program path is not absolute: " + spec.program;
    return std::nullopt;
  }
  if (spec.arguments.empty()) spec.arguments.push_back(spec.program);

  // A service is advertised with `true` or with a dictionary of options.
  for (const auto& [name, value] : Plist::entries(Plist::child(root, "MachServices", PLIST_DICT))) {
    bool advertised = plist_get_node_type(value) == PLIST_DICT;
    if (plist_get_node_type(value) == PLIST_BOOLEAN) {
      uint8_t on = 0;
      plist_get_bool_val(value, &on);
      advertised = on != 0;
    }
    if (!advertised) continue;
    if (!validServiceName(name)) {
      error = "invalid Mach service name: " + name;
      return std::nullopt;
    }
    spec.machServices.push_back(name);
  }
  for (const auto& [name, value] : Plist::entries(Plist::child(root, "EnvironmentVariables", PLIST_DICT))) {
    if (plist_get_node_type(value) != PLIST_STRING) continue;
    uint64_t length = 0;
    const char* text = plist_get_string_ptr(value, &length);
    spec.environment[name] = std::string(text, length);
  }
  spec.workingDirectory = Plist::string(root, "WorkingDirectory").value_or("");
  spec.standardOutPath = Plist::string(root, "StandardOutPath").value_or("");
  spec.standardErrorPath = Plist::string(root, "StandardErrorPath").value_or("");
  spec.runAtLoad = Plist::boolean(root, "RunAtLoad").value_or(false);
  spec.keepAlive = Plist::boolean(root, "KeepAlive").value_or(false);
  if (auto throttle = Plist::integer(root, "ThrottleInterval")) {
    spec.throttleInterval = static_cast<int>(std::clamp<int64_t>(*throttle, 0, 3600));
  }
  return spec;
}

bool JobSpec::operator==(const JobSpec& o) const {
  return std::tie(path, label, program, arguments, machServices, environment, workingDirectory,
                  standardOutPath, standardErrorPath, runAtLoad, keepAlive, throttleInterval) ==
         std::tie(o.path, o.label, o.program, o.arguments, o.machServices, o.environment,
                  o.workingDirectory, o.standardOutPath, o.standardErrorPath, o.runAtLoad,
                  o.keepAlive, o.throttleInterval);
}
