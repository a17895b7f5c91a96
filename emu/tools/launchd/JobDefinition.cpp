#include "JobDefinition.h"

#include <algorithm>
#include <tuple>

#include "BackgroundItems.h"
#include "Plist.h"

namespace {

bool validServiceName(const std::string& name) {
  return !name.empty() && name != "." && name != ".." && name.find('/') == std::string::npos;
}

}  // namespace

std::optional<JobDefinition> JobDefinition::load(const std::string& path, std::string& error,
                                                 const std::string& bundle) {
  Plist plist = Plist::load(path);
  if (!plist.isDict()) {
    error = "not a property list dictionary";
    return std::nullopt;
  }
  plist_t root = plist.get();
  JobDefinition definition;
  definition.path = path;
  definition.bundle = bundle;
  definition.label = Plist::string(root, "Label").value_or("");
  if (definition.label.empty()) {
    error = "no Label";
    return std::nullopt;
  }
  if (Plist::boolean(root, "Disabled").value_or(false)) {
    error = "disabled";
    return std::nullopt;
  }
  definition.arguments =
      Plist::strings(root, "ProgramArguments").value_or(std::vector<std::string>{});
  definition.program = Plist::string(root, "Program").value_or("");
  const std::string bundleProgram = Plist::string(root, "BundleProgram").value_or("");
  if (!bundle.empty() && !bundleProgram.empty()) {
    if (!BackgroundItems::staysInsideBundle(bundleProgram)) {
      error = "BundleProgram does not stay inside the bundle: " + bundleProgram;
      return std::nullopt;
    }
    definition.program = bundle + "/" + bundleProgram;
  }
  if (definition.program.empty() && !definition.arguments.empty())
    definition.program = definition.arguments.front();
  if (definition.program.empty()) {
    error = "neither Program nor ProgramArguments";
    return std::nullopt;
  }
  if (definition.program.front() != '/') {
    error = "program path is not absolute: " + definition.program;
    return std::nullopt;
  }
  if (definition.arguments.empty()) definition.arguments.push_back(definition.program);

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
    definition.machServices.push_back(name);
  }
  for (const auto& [name, value] :
       Plist::entries(Plist::child(root, "EnvironmentVariables", PLIST_DICT))) {
    if (plist_get_node_type(value) != PLIST_STRING) continue;
    uint64_t length = 0;
    const char* text = plist_get_string_ptr(value, &length);
    definition.environment[name] = std::string(text, length);
  }
  definition.workingDirectory = Plist::string(root, "WorkingDirectory").value_or("");
  definition.standardOutPath = Plist::string(root, "StandardOutPath").value_or("");
  definition.standardErrorPath = Plist::string(root, "StandardErrorPath").value_or("");
  definition.runAtLoad = Plist::boolean(root, "RunAtLoad").value_or(false);
  definition.keepAlive = Plist::boolean(root, "KeepAlive").value_or(false);
  if (auto throttle = Plist::integer(root, "ThrottleInterval")) {
    definition.throttleInterval = static_cast<int>(std::clamp<int64_t>(*throttle, 0, 3600));
  }
  return definition;
}

bool JobDefinition::operator==(const JobDefinition& o) const {
  return std::tie(path, bundle, label, program, arguments, machServices, environment, workingDirectory,
                  standardOutPath, standardErrorPath, runAtLoad, keepAlive, throttleInterval) ==
         std::tie(o.path, o.bundle, o.label, o.program, o.arguments, o.machServices, o.environment,
                  o.workingDirectory, o.standardOutPath, o.standardErrorPath, o.runAtLoad,
                  o.keepAlive, o.throttleInterval);
}
