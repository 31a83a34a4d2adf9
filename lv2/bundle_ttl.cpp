// Writes the bundle's Turtle files: the manifest, the plug-in with its ports,
// and one preset per factory program. Names and values are read from the
// effect itself, through the calls a host makes, so they cannot drift from it.
//   korro-lv2-ttl BUNDLE_DIR BINARY_NAME [UI_BINARY_NAME]
// Without a UI binary the bundle declares no UI and hosts show their own controls.
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "shell/hosted_effect.h"
#include "korro/version.h"
#include "ports.h"

namespace korro::lv2 {
namespace {

const char* const kPrefixes =
    "@prefix bufsz: <http://lv2plug.in/ns/ext/buf-size#> .\n"
    "@prefix doap:  <http://usefulinc.com/ns/doap#> .\n"
    "@prefix foaf:  <http://xmlns.com/foaf/0.1/> .\n"
    "@prefix lv2:   <http://lv2plug.in/ns/lv2core#> .\n"
    "@prefix opts:  <http://lv2plug.in/ns/ext/options#> .\n"
    "@prefix pset:  <http://lv2plug.in/ns/ext/presets#> .\n"
    "@prefix rdfs:  <http://www.w3.org/2000/01/rdf-schema#> .\n"
    "@prefix ui:    <http://lv2plug.in/ns/extensions/ui#> .\n"
    "@prefix units: <http://lv2plug.in/ns/extensions/units#> .\n"
    "@prefix urid:  <http://lv2plug.in/ns/ext/urid#> .\n\n";

struct Program {
  std::string name;
  std::vector<float> values;  // by parameter index
};

struct EffectFacts {
  std::string name, product, vendor;
  std::vector<float> start;  // parameter values of a new effect
  std::vector<Program> programs;
};

std::string text(HostedEffect& fx, std::int32_t opcode, std::int32_t index = 0) {
  char buffer[256] = {};
  fx.dispatch(opcode, index, 0, buffer);
  buffer[sizeof buffer - 1] = 0;
  return buffer;
}

std::vector<float> parameters(HostedEffect& fx) {
  std::vector<float> v;
  for (const ControlPort& c : kControlPorts) {
    if (c.parameter >= static_cast<std::int32_t>(v.size())) v.resize(c.parameter + 1);
    v[c.parameter] = fx.getParameter(c.parameter);
  }
  return v;
}

EffectFacts readEffect() {
  HostedEffect fx(kDefaultMaxBlock);
  EffectFacts facts;
  facts.name = text(fx, effGetEffectName);
  facts.product = text(fx, effGetProductString);
  facts.vendor = text(fx, effGetVendorString);
  facts.start = parameters(fx);
  const std::int32_t count = fx.record().numPrograms;
  for (std::int32_t p = 0; p < count; ++p) {
    fx.dispatch(effSetProgram, 0, p);
    facts.programs.push_back({text(fx, effGetProgramNameIndexed, p), parameters(fx)});
  }
  return facts;
}

std::string quoted(const std::string& s) {
  std::string q = "\"";
  for (char c : s) {
    if (c == '"' || c == '\\') q += '\\';
    q += c;
  }
  return q + "\"";
}

std::string slug(const std::string& name) {
  std::string s;
  for (char c : name) {
    const bool alnum = (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9');
    if (alnum || (c >= 'A' && c <= 'Z'))
      s += static_cast<char>(alnum ? c : c - 'A' + 'a');
    else if (!s.empty() && s.back() != '-')
      s += '-';
  }
  return s;
}

// Plain decimal text with a point, as few digits as give back exactly `v`
// when `exact` is told what the text reads as.
template <class Exact>
std::string decimal(double v, Exact exact) {
  char buffer[64];
  for (int digits = 1; digits <= 20; ++digits) {
    std::snprintf(buffer, sizeof buffer, "%.*f", digits, v);
    if (exact(std::strtod(buffer, nullptr))) {
      std::string s = buffer;
      while (s.back() == '0' && s[s.size() - 2] != '.') s.pop_back();
      return s;
    }
  }
  throw std::runtime_error("no decimal text for " + std::to_string(v));
}

std::string decimal(double v) {
  return decimal(v, [v](double read) { return read == v; });
}

// A port value that a host reads back (as lilv does, through a double into a
// float) to exactly the parameter value the effect holds.
std::string portValue(const ControlPort& port, float parameter) {
  return decimal(portFromParameter(port, parameter),
                 [&](double read) { return parameterFromPort(port, static_cast<float>(read)) == parameter; });
}

std::string pluginUri() { return std::string("<") + kPluginUri + ">"; }
std::string presetUri(const Program& p) { return std::string("<") + kPluginUri + "#" + slug(p.name) + ">"; }
std::string uiUri() { return std::string("<") + kUiUri + ">"; }

std::string manifest(const EffectFacts& facts, const std::string& binary, const std::string& uiBinary) {
  std::ostringstream o;
  o << kPrefixes << pluginUri() << "\n\ta lv2:Plugin ;\n\tlv2:binary <" << binary
    << "> ;\n\trdfs:seeAlso <korro-tarrow.ttl> .\n";
  // The editor needs the host's window and its idle calls; it reads the peak port for its meter.
  if (!uiBinary.empty())
    o << "\n"
      << uiUri() << "\n\ta ui:X11UI ;\n\tui:binary <" << uiBinary
      << "> ;\n\tlv2:requiredFeature ui:parent , ui:idleInterface ;\n\tlv2:optionalFeature ui:touch , ui:resize , opts:options , urid:map ;\n"
         "\topts:supportedOption ui:scaleFactor ;\n"
         "\tlv2:extensionData ui:idleInterface ;\n\tui:portNotification [\n\t\tui:plugin "
      << pluginUri() << " ;\n\t\tlv2:symbol \"peak\" ;\n\t\tui:notifyType ui:floatProtocol\n\t] .\n";
  for (const Program& p : facts.programs)
    o << "\n"
      << presetUri(p) << "\n\ta pset:Preset ;\n\tlv2:appliesTo " << pluginUri()
      << " ;\n\trdfs:seeAlso <presets.ttl> .\n";
  return o.str();
}

void audioPort(std::ostringstream& o, Port index, bool input, const char* symbol, const char* name) {
  o << "[\n\t\ta lv2:AudioPort , lv2:" << (input ? "InputPort" : "OutputPort") << " ;\n\t\tlv2:index " << index
    << " ;\n\t\tlv2:symbol \"" << symbol << "\" ;\n\t\tlv2:name \"" << name << "\"\n\t]";
}

void controlPort(std::ostringstream& o, const ControlPort& c, float start) {
  if (c.law == Law::Switch)
    o << "\n\t# Not the host's lv2:enabled: off does not pass the input through, it stops\n"
         "\t# feeding the springs, so the tail dies away and only the dry part of the mix\n"
         "\t# remains (Mix and Output still apply). A host's own bypass is the bypass.\n\t";
  o << "[\n\t\ta lv2:ControlPort , lv2:InputPort ;\n\t\tlv2:index " << c.port << " ;\n\t\tlv2:symbol \"" << c.symbol
    << "\" ;\n\t\tlv2:name \"" << c.name << "\" ;\n\t\tlv2:default " << portValue(c, start) << " ;\n\t\tlv2:minimum "
    << decimal(c.minimum) << " ;\n\t\tlv2:maximum " << decimal(c.maximum);
  switch (c.law) {
    case Law::Switch:
      o << " ;\n\t\tlv2:portProperty lv2:toggled ;\n\t\trdfs:comment \"On (the default): the springs are fed. "
           "Off: they are no longer fed and the reverb dies away.\"";
      break;
    case Law::Percent:
      o << " ;\n\t\tunits:unit units:pc";
      break;
    case Law::Decibels:
      o << " ;\n\t\tunits:unit units:db ;\n\t\trdfs:comment \"0 dB is unity gain; below -100 dB the output is "
           "silent.\"";
      break;
  }
  o << "\n\t]";
}

std::string plugin(const EffectFacts& facts, bool withUi) {
  std::ostringstream o;
  o << kPrefixes << "<" << facts.vendor << ">\n\ta doap:Project ;\n\tdoap:name " << quoted(facts.name)
    << " ;\n\tdoap:homepage <" << facts.vendor << "> ;\n\tdoap:maintainer [\n\t\tfoaf:name " << quoted(facts.name)
    << " ;\n\t\tfoaf:homepage <" << facts.vendor << ">\n\t] .\n\n"
    << pluginUri() << "\n\ta lv2:Plugin , lv2:ReverbPlugin ;\n\tdoap:name " << quoted(facts.name)
    << " ;\n\trdfs:comment " << quoted(facts.product) << " ;\n\tlv2:project <" << facts.vendor << "> ;\n"
    << "\tlv2:minorVersion " << korro::kVersionMinor << " ;\n\tlv2:microVersion " << korro::kVersionPatch
    << " ;\n" << (withUi ? "\tui:ui " + uiUri() + " ;\n" : "")
    << "\tlv2:optionalFeature lv2:hardRTCapable , opts:options , urid:map ;\n"
    << "\topts:supportedOption bufsz:maxBlockLength ;\n\tlv2:port ";
  audioPort(o, kInputLeft, true, "in_l", "Left In");
  o << " , ";
  audioPort(o, kInputRight, true, "in_r", "Right In");
  o << " , ";
  audioPort(o, kOutputLeft, false, "out_l", "Left Out");
  o << " , ";
  audioPort(o, kOutputRight, false, "out_r", "Right Out");
  for (const ControlPort& c : kControlPorts) {
    o << " , ";
    controlPort(o, c, facts.start[c.parameter]);
  }
  o << " , [\n\t\ta lv2:ControlPort , lv2:OutputPort ;\n\t\tlv2:index " << kPeakPort
    << " ;\n\t\tlv2:symbol \"peak\" ;\n\t\tlv2:name \"Peak\" ;\n\t\tlv2:minimum 0.0 ;\n\t\tlv2:maximum 4.0 ;\n"
       "\t\tunits:unit units:coef ;\n\t\trdfs:comment \"Largest left output magnitude of the last 50 to 100 ms.\"\n"
       "\t] , [\n\t\ta lv2:ControlPort , lv2:OutputPort ;\n\t\tlv2:index "
    << kClipPort
    << " ;\n\t\tlv2:symbol \"clip\" ;\n\t\tlv2:name \"Clip\" ;\n\t\tlv2:minimum 0.0 ;\n\t\tlv2:maximum 1.0 ;\n"
       "\t\tlv2:portProperty lv2:toggled ;\n\t\trdfs:comment \"On while the peak reaches full scale.\"\n\t] .\n";
  return o.str();
}

std::string presets(const EffectFacts& facts) {
  std::ostringstream o;
  o << kPrefixes;
  for (const Program& p : facts.programs) {
    o << presetUri(p) << "\n\ta pset:Preset ;\n\tlv2:appliesTo " << pluginUri() << " ;\n\trdfs:label " << quoted(p.name)
      << " ;\n\tlv2:port ";
    for (const ControlPort& c : kControlPorts)
      o << (&c == kControlPorts ? "" : " , ") << "[\n\t\tlv2:symbol \"" << c.symbol << "\" ;\n\t\tpset:value "
        << portValue(c, p.values[c.parameter]) << "\n\t]";
    o << " .\n\n";
  }
  return o.str();
}

void writeFile(const std::string& path, const std::string& content) {
  std::ofstream f(path, std::ios::binary);
  f << content;
  if (!f.flush()) throw std::runtime_error("cannot write " + path);
}

}  // namespace
}  // namespace korro::lv2

int main(int argc, char** argv) {
  using namespace korro::lv2;
  if (argc != 3 && argc != 4) {
    std::fprintf(stderr, "usage: korro-lv2-ttl BUNDLE_DIR BINARY_NAME [UI_BINARY_NAME]\n");
    return 2;
  }
  try {
    const EffectFacts facts = readEffect();
    const std::string dir = argv[1];
    const std::string ui = argc == 4 ? argv[3] : "";
    writeFile(dir + "/manifest.ttl", manifest(facts, argv[2], ui));
    writeFile(dir + "/korro-tarrow.ttl", plugin(facts, !ui.empty()));
    writeFile(dir + "/presets.ttl", presets(facts));
  } catch (const std::exception& e) {
    std::fprintf(stderr, "korro-lv2-ttl: %s\n", e.what());
    return 1;
  }
  return 0;
}
