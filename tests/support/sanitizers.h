#pragma once

// DATAIO_SANITIZED is 1 in builds with a sanitizer that brings a `malloc` of its own.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define DATAIO_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define DATAIO_SANITIZED 1
#endif
#endif
#ifndef DATAIO_SANITIZED
#define DATAIO_SANITIZED 0
#endif
