#pragma once

#include "WindowsAgentCommon/CV_Trans.h"

namespace WindowsAgentCommon::detail {

/// Holds a CV_Trans while it lives.
class Transaction {
public:
    explicit Transaction(CV_Trans& lock) noexcept : lock_(lock) { lock_.StartTransaction(); }
    Transaction(CV_Trans& lock, Log log, const char* what) noexcept : lock_(lock) {
        lock_.StartTransaction(log, what);
    }
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;
    ~Transaction() { lock_.EndTransaction(); }

private:
    CV_Trans& lock_;
};

}  // namespace WindowsAgentCommon::detail
