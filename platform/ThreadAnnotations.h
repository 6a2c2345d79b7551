// SPDX-License-Identifier: MIT
#pragma once

/// Lock rules that clang checks (-Wthread-safety); nothing under other compilers.
#if defined(__clang__)
#define PLATFORM_ANNOTATION(x) __attribute__((x))
#else
#define PLATFORM_ANNOTATION(x)
#endif

#define PLATFORM_CAPABILITY(name) PLATFORM_ANNOTATION(capability(name))
#define PLATFORM_SCOPED_CAPABILITY PLATFORM_ANNOTATION(scoped_lockable)
#define PLATFORM_GUARDED_BY(lock) PLATFORM_ANNOTATION(guarded_by(lock))
#define PLATFORM_REQUIRES(...) PLATFORM_ANNOTATION(requires_capability(__VA_ARGS__))
#define PLATFORM_EXCLUDES(...) PLATFORM_ANNOTATION(locks_excluded(__VA_ARGS__))
#define PLATFORM_ACQUIRE(...) PLATFORM_ANNOTATION(acquire_capability(__VA_ARGS__))
#define PLATFORM_RELEASE(...) PLATFORM_ANNOTATION(release_capability(__VA_ARGS__))
#define PLATFORM_TRY_ACQUIRE(...) PLATFORM_ANNOTATION(try_acquire_capability(__VA_ARGS__))
