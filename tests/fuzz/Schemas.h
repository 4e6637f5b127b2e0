#pragma once

#include <nlohmann/json.hpp>

#include <filesystem>
#include <map>
#include <string>

namespace quenbrook::fuzz {

// The schemas of a directory, by the names of their files, as far as these use JSON Schema: a
// keyword that is not known here ends the fuzzer. Of a list its beginning is looked at. Not
// thread-safe.
class Schemas {
  public:
    explicit Schemas(const std::filesystem::path& directory);

    bool hold(const std::string& name, const nlohmann::json& document) const;

  private:
    bool holds(const nlohmann::json& schema, const nlohmann::json& value) const;
    bool holdsKeyword(const std::string& keyword, const nlohmann::json& rule,
        const nlohmann::json& schema, const nlohmann::json& value) const;

    std::map<std::string, nlohmann::json> all_;
};

} // namespace quenbrook::fuzz
