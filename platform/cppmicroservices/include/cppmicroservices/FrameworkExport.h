// Symbol visibility of the service registry library.
//
// The registry is a shared library built with hidden visibility, so that only
// the declared API (and the type information its exceptions need) is exported.
#ifndef CPPMICROSERVICES_FRAMEWORKEXPORT_H
#define CPPMICROSERVICES_FRAMEWORKEXPORT_H

#if defined(_WIN32)
#if defined(CppMicroServices_EXPORTS)
#define US_Framework_EXPORT __declspec(dllexport)
#else
#define US_Framework_EXPORT __declspec(dllimport)
#endif
#else
#define US_Framework_EXPORT __attribute__((visibility("default")))
#endif

#endif  // CPPMICROSERVICES_FRAMEWORKEXPORT_H
