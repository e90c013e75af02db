// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_EXAMPLES_MANIFEST_SPARSE_H
#define VORN_BASES_EXAMPLES_MANIFEST_SPARSE_H

#include <memory>
#include <utility>

namespace Manifest {

/// A value that most entries do not have, where it takes no more than a pointer.
template <typename T>
class Sparse {
public:
    Sparse() = default;
    Sparse(const Sparse& other) : m_value(other ? std::make_unique<T>(*other) : nullptr) {}
    Sparse(Sparse&&) noexcept = default;
    Sparse& operator=(const Sparse& other) { return *this = Sparse(other); }
    Sparse& operator=(Sparse&&) noexcept = default;
    ~Sparse() = default;

    /// An empty value is none.
    Sparse& operator=(T value) {
        m_value = value == T() ? nullptr : std::make_unique<T>(std::move(value));
        return *this;
    }

    /// Returns the value for changing; makes an empty one where there is none.
    T& Own() {
        if (m_value == nullptr)
            m_value = std::make_unique<T>();
        return *m_value;
    }

    explicit operator bool() const { return m_value != nullptr; }

    /// Returns an empty value where there is none.
    const T& operator*() const {
        static const T none{};
        return m_value == nullptr ? none : *m_value;
    }
    const T* operator->() const { return &**this; }

private:
    std::unique_ptr<T> m_value;
};

} // namespace Manifest

#endif
