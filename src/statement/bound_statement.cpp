#include "vorn/bound_statement.h"

#include <stdexcept>

namespace vorn {

BoundStatement::BoundStatement(std::string text) : m_text(std::move(text)) {}

BoundStatement::~BoundStatement() = default;
BoundStatement::BoundStatement(const BoundStatement&) = default;
BoundStatement& BoundStatement::operator=(const BoundStatement&) = default;

BoundStatement& BoundStatement::keep(const std::string& name, platform::BoundValue value) {
    for (platform::BoundParameter& parameter : m_parameters) {
        if (parameter.name == name) {
            parameter.value = std::move(value);
            return *this;
        }
    }
    m_parameters.push_back(platform::BoundParameter{name, std::move(value)});
    return *this;
}

BoundStatement& BoundStatement::bind(const std::string& name, const std::string& value) {
    return keep(name, value);
}

BoundStatement& BoundStatement::bind(const std::string& name, const char* value) {
    if (value == nullptr) {
        throw std::invalid_argument("BoundStatement::bind: null text for {" + name +
                                    "}; bind CVORNNull for NULL");
    }
    return keep(name, std::string(value));
}

BoundStatement& BoundStatement::bind(const std::string& name, char value) {
    return keep(name, std::string(1, value));
}

BoundStatement& BoundStatement::bind(const std::string& name, bool value) {
    return keep(name, std::int64_t{value ? 1 : 0});
}

BoundStatement& BoundStatement::bind(const std::string& name, short value) {
    return keep(name, std::int64_t{value});
}

BoundStatement& BoundStatement::bind(const std::string& name, int value) {
    return keep(name, std::int64_t{value});
}

BoundStatement& BoundStatement::bind(const std::string& name, long value) {
    return keep(name, std::int64_t{value});
}

BoundStatement& BoundStatement::bind(const std::string& name, long long value) {
    return keep(name, std::int64_t{value});
}

BoundStatement& BoundStatement::bind(const std::string& name, unsigned short value) {
    return keep(name, std::int64_t{value});
}

BoundStatement& BoundStatement::bind(const std::string& name, unsigned int value) {
    return keep(name, std::int64_t{value});
}

BoundStatement& BoundStatement::bind(const std::string& name, unsigned long value) {
    return keep(name, std::uint64_t{value});
}

BoundStatement& BoundStatement::bind(const std::string& name, unsigned long long value) {
    return keep(name, std::uint64_t{value});
}

BoundStatement& BoundStatement::bind(const std::string& name, float value) {
    return keep(name, value);
}

BoundStatement& BoundStatement::bind(const std::string& name, double value) {
    return keep(name, value);
}

BoundStatement& BoundStatement::bind(const std::string& name, const CVORNNull& /*value*/) {
    return keep(name, std::monostate{});
}

void BoundStatement::clearBindings() {
    m_parameters.clear();
}

std::string BoundStatement::toString() const {
    return m_text;
}

CVORNTable BoundStatement::table(const std::string& name) {
    CVORNTable named(name);
    constructAttachAndDetachSQL(named);
    return named;
}

void BoundStatement::clear() {
    clearBindings();
}

}  // namespace vorn
