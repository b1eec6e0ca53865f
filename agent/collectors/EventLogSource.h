#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace CorvaneAgent {

/// One event log of this machine, as far as a collector needs it. Functions return the Windows code, 0 =
/// success. One thread at a time.
class EventLogSource {
public:
    virtual ~EventLogSource() = default;

    /// log: such as L"System"; one that the system does not know is ERROR_FILE_NOT_FOUND. Closes what was
    /// open.
    virtual unsigned long Open(const std::wstring& log) = 0;

    /// The number of the oldest record, and how many there are; record numbers are consecutive.
    virtual unsigned long GetRange(std::uint32_t& oldest, std::uint32_t& count) = 0;

    /// Reads whole records, from the one of a number on, into bytes (replaced): EVENTLOGRECORD structures one
    /// after the other, each as long as its Length says. They come from outside and may say anything.
    virtual unsigned long Read(std::uint32_t number, std::vector<unsigned char>& bytes) = 0;
};

/// The message texts that event sources have registered. One thread at a time.
class EventMessageSource {
public:
    virtual ~EventMessageSource() = default;

    /// The text of a message, with its insertion marks, from the source's message files (parameter: from its
    /// parameter message files). UTF-16. False when there is none.
    virtual bool GetText(const std::wstring& log, const std::wstring& source, std::uint32_t id,
                         bool parameter, std::wstring& out) = 0;

    /// To be called now and then: releases what is kept of message files, once it is some minutes old.
    virtual void Expire() = 0;
};

/// The classic event-log functions, which are there from Windows XP on.
std::unique_ptr<EventLogSource> MakeEventLogSource();

/// Reads the registry ("EventMessageFile" and "ParameterMessageFile", for Security through the registry cache
/// where that service is there) and loads message files as data, at most 200 of them at a time. What it
/// found, and that it found nothing, it keeps for five minutes, so that files can be installed and replaced.
/// Under 64-bit Windows it finds those of the system folder, too, that only 64-bit programs are shown.
std::unique_ptr<EventMessageSource> MakeEventMessageSource();

}  // namespace CorvaneAgent
