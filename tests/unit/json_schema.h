// A JSON Schema validator for the part of the language that
// doc/wireprint.schema.json uses: type, const, enum, properties, required,
// additionalProperties, items, oneOf, anyOf, minimum, maximum and local
// "$ref": "#/$defs/NAME". Any other keyword in a schema is an error, so
// that the schema cannot use one that is silently ignored here. (Debian has
// no C++ validator; this is the smallest one that checks what we write.)
#pragma once

#include <nlohmann/json.hpp>
#include <set>
#include <string>

namespace wp::test {

class SchemaValidator {
 public:
  explicit SchemaValidator(nlohmann::json schema) : root_(std::move(schema)) {}

  // Empty when v conforms; otherwise what does not, with its path.
  std::string check(const nlohmann::json& v) const { return check(root_, v, "$"); }

 private:
  static bool hasType(const nlohmann::json& v, const std::string& t) {
    if (t == "object") return v.is_object();
    if (t == "array") return v.is_array();
    if (t == "string") return v.is_string();
    if (t == "integer") return v.is_number_integer();
    if (t == "number") return v.is_number();
    if (t == "null") return v.is_null();
    if (t == "boolean") return v.is_boolean();
    return false;
  }

  std::string check(const nlohmann::json& s, const nlohmann::json& v, const std::string& at) const {
    static const std::set<std::string> kKnown = {
        "$schema", "$id",   "title", "description", "$defs",    "$ref",
        "type",    "const", "enum",  "properties",  "required", "additionalProperties",
        "items",   "oneOf", "anyOf", "minimum",     "maximum"};
    for (auto it = s.begin(); it != s.end(); ++it)
      if (!kKnown.count(it.key())) return at + ": schema keyword " + it.key() + " not supported";
    if (s.contains("$ref")) {
      std::string ref = s["$ref"];
      const std::string prefix = "#/$defs/";
      if (ref.rfind(prefix, 0) != 0 || !root_["$defs"].contains(ref.substr(prefix.size())))
        return at + ": unresolved " + ref;
      std::string e = check(root_["$defs"][ref.substr(prefix.size())], v, at);
      if (!e.empty()) return e;
    }
    if (s.contains("type")) {
      bool ok = false;
      if (s["type"].is_array()) {
        for (const auto& t : s["type"]) ok = ok || hasType(v, t);
      } else {
        ok = hasType(v, s["type"]);
      }
      if (!ok) return at + ": not of type " + s["type"].dump();
    }
    if (s.contains("const") && v != s["const"]) return at + ": not " + s["const"].dump();
    if (s.contains("enum")) {
      bool found = false;
      for (const auto& e : s["enum"]) found = found || v == e;
      if (!found) return at + ": not one of " + s["enum"].dump();
    }
    if (v.is_number()) {
      if (s.contains("minimum") && v.get<double>() < s["minimum"].get<double>())
        return at + ": below " + s["minimum"].dump();
      if (s.contains("maximum") && v.get<double>() > s["maximum"].get<double>())
        return at + ": above " + s["maximum"].dump();
    }
    if (v.is_object()) {
      if (s.contains("required"))
        for (const auto& r : s["required"])
          if (!v.contains(r.get<std::string>())) return at + ": no " + r.get<std::string>();
      for (auto it = v.begin(); it != v.end(); ++it) {
        std::string path = at + "." + it.key();
        if (s.contains("properties") && s["properties"].contains(it.key())) {
          std::string e = check(s["properties"][it.key()], it.value(), path);
          if (!e.empty()) return e;
        } else if (s.contains("additionalProperties")) {
          const auto& extra = s["additionalProperties"];
          if (extra.is_boolean()) {
            if (!extra.get<bool>()) return path + ": not allowed";
          } else {
            std::string e = check(extra, it.value(), path);
            if (!e.empty()) return e;
          }
        }
      }
    }
    if (v.is_array() && s.contains("items")) {
      for (size_t i = 0; i < v.size(); ++i) {
        std::string e = check(s["items"], v[i], at + "[" + std::to_string(i) + "]");
        if (!e.empty()) return e;
      }
    }
    if (s.contains("anyOf")) {
      std::string first;
      for (const auto& alt : s["anyOf"]) {
        std::string e = check(alt, v, at);
        if (e.empty()) {
          first.clear();
          break;
        }
        if (first.empty()) first = e;
      }
      if (!first.empty()) return at + ": matches no alternative (" + first + ")";
    }
    if (s.contains("oneOf")) {
      int matches = 0;
      for (const auto& alt : s["oneOf"]) matches += check(alt, v, at).empty();
      if (matches != 1) return at + ": matches " + std::to_string(matches) + " of oneOf";
    }
    return "";
  }

  nlohmann::json root_;
};

}  // namespace wp::test
