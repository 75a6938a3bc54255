// The product's own texts and web addresses, kept in one place.
//
// Every address points at a page that the product ships under its web
// folder (web/), so the links work on any site that installs it.
#pragma once

namespace product {

inline constexpr const char* kName = "Loglantern";
inline constexpr const char* kVersion = "1.4.3";
inline constexpr int kBuild = 43;
inline constexpr const char* kPlatform = "UNIX";

// Pages that the product ships under its web folder (web/).
inline constexpr const char* kFormUrl = "/Loglantern/";
inline constexpr const char* kHomeUrl = "/Loglantern/";
inline constexpr const char* kManualUrl = "/Loglantern/manual/";
inline constexpr const char* kSupportUrl = "/Loglantern/manual/#support";
inline constexpr const char* kErrorHelpUrl = "/Loglantern/manual/errors.html";
inline constexpr const char* kLogsDocUrl = "/Loglantern/manual/configuration.html#logs";
// Error images are named by number under this base: /Loglantern/errors/2.gif.
inline constexpr const char* kErrorImageBase = "/Loglantern/errors/";

// The maker and the legal notice (about page, report footer, error pages).
inline constexpr const char* kMaker = "The Loglantern project";
inline constexpr const char* kCopyright = "Copyright (c) 2026 The Loglantern project";
inline constexpr const char* kLicence =
    "Licensed for use inside the organisation that runs it; not for redistribution.";

}  // namespace product
