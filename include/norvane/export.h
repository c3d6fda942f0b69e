// SPDX-License-Identifier: Apache-2.0
/// Visibility of the library's symbols: everything is hidden except what is marked NORVANE_API.
#pragma once

#if defined(NORVANE_STATIC)
#define NORVANE_API
#elif defined(_WIN32)
#if defined(NORVANE_BUILDING)
#define NORVANE_API __declspec(dllexport)
#else
#define NORVANE_API __declspec(dllimport)
#endif
#else
#define NORVANE_API __attribute__((visibility("default")))
#endif
