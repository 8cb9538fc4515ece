// The base of what the library throws for failures.
#pragma once

#include <exception>
#include <memory>

#include "support/Export.h"
#include "support/String.h"

namespace zor {

/// A failure with a message. Copies share their texts, so that copying throws nothing.
class ZOR_API Exception : public std::exception {
public:
    explicit Exception(const String& message);
    Exception(const Exception&) noexcept = default;
    Exception& operator=(const Exception&) noexcept = default;
    ~Exception() override;

    const String& getMessage() const noexcept;
    /// The message as UTF-8.
    const char* what() const noexcept override;

private:
    struct Texts;
    std::shared_ptr<const Texts> m_texts;
};

}  // namespace zor
