#pragma once

#include <utility>

namespace qsolve {

/// A variable with another value for as long as this lives; then it has the old one again, however
/// that comes about. `const Held report(setup.fFinalReport, true);`
template <class T>
class [[nodiscard]] Held {
  public:
    Held(T& variable, T value) : variable_(variable), old_(std::exchange(variable, value)) {}
    ~Held() { variable_ = old_; }
    Held(const Held&) = delete;
    Held& operator=(const Held&) = delete;

  private:
    T& variable_;
    T old_;
};

}  // namespace qsolve
