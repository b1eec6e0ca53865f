#pragma once

/// \file
/// The one macro by which anything leaves the DLL, and the printf check that goes with it.

/// \namespace WindowsAgentCommon
/// Everything of the library but its logging.

/// Marks a class or function as part of the library's interface. Nothing without it is exported.
#ifdef CORVANE_COMMON_BUILD
#define CORVANE_API __declspec(dllexport)
#else
#define CORVANE_API __declspec(dllimport)
#endif

/// Lets the compiler check a call's arguments against its format, by the Microsoft C runtime's rules.
/// format, first: 1-based positions of the format and of the first argument (this counts as 1 in members).
#if defined(__GNUC__) && !defined(__clang__)
#define CORVANE_PRINTF(format, first) __attribute__((__format__(__ms_printf__, format, first)))
#else
#define CORVANE_PRINTF(format, first)
#endif
