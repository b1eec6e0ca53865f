#pragma once

namespace CorvaneLogger::detail {

/// Keeps this library loaded while the object lives, for the sake of a thread that runs in it. Whoever
/// destroys the last one must be called by a module that has the library loaded itself.
class ModuleReference {
public:
    ModuleReference() noexcept;
    ModuleReference(const ModuleReference&) = delete;
    ModuleReference& operator=(const ModuleReference&) = delete;
    ~ModuleReference();

private:
    void* module_;
};

}  // namespace CorvaneLogger::detail
