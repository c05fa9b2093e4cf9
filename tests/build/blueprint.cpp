#include "tests/build/blueprint.h"

#include <cctype>

namespace android {
namespace fp_utils {
namespace testing {

const BlueprintValue* BlueprintValue::Find(const std::string& name) const {
    for (const auto& [key, value] : properties) {
        if (key == name) return &value;
    }
    return nullptr;
}

std::vector<std::string> BlueprintValue::Strings(const std::string& name) const {
    std::vector<std::string> strings;
    const BlueprintValue* list = Find(name);
    if (list == nullptr || list->kind != kList) return strings;
    for (const auto& item : list->items) {
        if (item.kind == kString) strings.push_back(item.text);
    }
    return strings;
}

const BlueprintModule* Blueprint::Module(const std::string& name) const {
    for (const auto& module : modules) {
        const BlueprintValue* n = module.properties.Find("name");
        if (n != nullptr && n->kind == BlueprintValue::kString && n->text == name) return &module;
    }
    return nullptr;
}

std::vector<std::string> Blueprint::Sources(const BlueprintModule& module) const {
    std::vector<std::string> sources = module.properties.Strings("srcs");
    for (const auto& name : module.properties.Strings("defaults")) {
        const BlueprintModule* defaults = Module(name);
        if (defaults == nullptr) continue;
        for (auto& source : Sources(*defaults)) sources.push_back(std::move(source));
    }
    return sources;
}

namespace {

class Parser {
  public:
    Parser(const std::string& text, std::string* error) : text_(text), error_(error) {}

    bool File(Blueprint* blueprint) {
        for (SkipSpace(); pos_ < text_.size(); SkipSpace()) {
            std::string name;
            if (!Identifier(&name)) return false;
            SkipSpace();
            if (Eat('{') || Eat('(')) {
                const char close = text_[pos_ - 1] == '{' ? '}' : ')';
                BlueprintModule module{name, {}};
                module.properties.kind = BlueprintValue::kMap;
                if (!Properties(close, &module.properties)) return false;
                blueprint->modules.push_back(std::move(module));
            } else if (Eat('+') && Eat('=')) {
                auto it = variables_.find(name);
                if (it == variables_.end()) return Fail("+= to an undefined variable " + name);
                BlueprintValue value;
                if (!Expression(&value) || !Add(&it->second, value)) return false;
            } else if (Eat('=')) {
                BlueprintValue value;
                if (!Expression(&value)) return false;
                variables_[name] = std::move(value);
            } else {
                return Fail("expected a module or an assignment after " + name);
            }
        }
        return true;
    }

  private:
    bool Fail(const std::string& why) {
        int line = 1;
        for (size_t i = 0; i < pos_ && i < text_.size(); ++i) line += text_[i] == '\n';
        *error_ = "line " + std::to_string(line) + ": " + why;
        return false;
    }

    void SkipSpace() {
        while (pos_ < text_.size()) {
            if (isspace(static_cast<unsigned char>(text_[pos_]))) {
                ++pos_;
            } else if (text_.compare(pos_, 2, "//") == 0) {
                pos_ = text_.find('\n', pos_);
                if (pos_ == std::string::npos) pos_ = text_.size();
            } else if (text_.compare(pos_, 2, "/*") == 0) {
                pos_ = text_.find("*/", pos_ + 2);
                pos_ = pos_ == std::string::npos ? text_.size() : pos_ + 2;
            } else {
                return;
            }
        }
    }

    bool Eat(char c) {
        SkipSpace();
        if (pos_ < text_.size() && text_[pos_] == c) {
            ++pos_;
            return true;
        }
        return false;
    }

    bool Identifier(std::string* name) {
        SkipSpace();
        size_t start = pos_;
        while (pos_ < text_.size() &&
               (isalnum(static_cast<unsigned char>(text_[pos_])) || text_[pos_] == '_')) {
            ++pos_;
        }
        if (pos_ == start) return Fail("expected a name");
        *name = text_.substr(start, pos_ - start);
        return true;
    }

    // name: value pairs up to `close`, each followed by a comma except perhaps the last.
    bool Properties(char close, BlueprintValue* map) {
        while (!Eat(close)) {
            std::string name;
            if (!Identifier(&name)) return false;
            if (!Eat(':') && !Eat('=')) return Fail("expected ':' after " + name);
            BlueprintValue value;
            if (!Expression(&value)) return false;
            if (map->Find(name) != nullptr) return Fail("property " + name + " given twice");
            map->properties.emplace_back(name, std::move(value));
            if (!Eat(',')) {
                if (!Eat(close)) return Fail(std::string("expected ',' or '") + close + "'");
                return true;
            }
        }
        return true;
    }

    bool Expression(BlueprintValue* value) {
        if (!Operand(value)) return false;
        while (Eat('+')) {
            BlueprintValue next;
            if (!Operand(&next) || !Add(value, next)) return false;
        }
        return true;
    }

    bool Add(BlueprintValue* into, const BlueprintValue& value) {
        if (into->kind != value.kind) return Fail("'+' between values of different kinds");
        switch (into->kind) {
            case BlueprintValue::kString:
                into->text += value.text;
                return true;
            case BlueprintValue::kInt:
                into->text = std::to_string(std::stoll(into->text) + std::stoll(value.text));
                return true;
            case BlueprintValue::kList:
                into->items.insert(into->items.end(), value.items.begin(), value.items.end());
                return true;
            case BlueprintValue::kMap:
                into->properties.insert(into->properties.end(), value.properties.begin(),
                                        value.properties.end());
                return true;
            case BlueprintValue::kBool:
                break;
        }
        return Fail("'+' between booleans");
    }

    bool Operand(BlueprintValue* value) {
        SkipSpace();
        if (pos_ >= text_.size()) return Fail("expected a value");
        const char c = text_[pos_];
        if (c == '"') return String(value);
        if (c == '-' || isdigit(static_cast<unsigned char>(c))) {
            size_t start = pos_++;
            while (pos_ < text_.size() && isdigit(static_cast<unsigned char>(text_[pos_]))) ++pos_;
            value->kind = BlueprintValue::kInt;
            value->text = text_.substr(start, pos_ - start);
            return true;
        }
        if (Eat('[')) {
            value->kind = BlueprintValue::kList;
            while (!Eat(']')) {
                BlueprintValue item;
                if (!Expression(&item)) return false;
                value->items.push_back(std::move(item));
                if (!Eat(',')) return Eat(']') || Fail("expected ',' or ']'");
            }
            return true;
        }
        if (Eat('{')) {
            value->kind = BlueprintValue::kMap;
            return Properties('}', value);
        }
        std::string name;
        if (!Identifier(&name)) return false;
        if (name == "true" || name == "false") {
            value->kind = BlueprintValue::kBool;
            value->text = name;
            return true;
        }
        auto it = variables_.find(name);
        if (it == variables_.end()) return Fail("undefined variable " + name);
        *value = it->second;
        return true;
    }

    bool String(BlueprintValue* value) {
        value->kind = BlueprintValue::kString;
        for (++pos_; pos_ < text_.size(); ++pos_) {
            char c = text_[pos_];
            if (c == '"') {
                ++pos_;
                return true;
            }
            if (c == '\n') break;
            if (c == '\\' && pos_ + 1 < text_.size()) c = text_[++pos_];
            value->text += c;
        }
        return Fail("unterminated string");
    }

    const std::string& text_;
    std::string* error_;
    size_t pos_ = 0;
    std::map<std::string, BlueprintValue> variables_;
};

}  // namespace

bool ParseBlueprint(const std::string& text, Blueprint* blueprint, std::string* error) {
    return Parser(text, error).File(blueprint);
}

}  // namespace testing
}  // namespace fp_utils
}  // namespace android
