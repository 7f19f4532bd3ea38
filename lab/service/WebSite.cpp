#include "WebSite.h"

namespace velmora::lab {

namespace {

Reply page(unsigned status, const std::string &title, const std::string &text)
{
    return {.status = status,
            .contentType = "text/html; charset=utf-8",
            .body = "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\"><title>" + title +
                    "</title></head>\n<body><h1>" + title + "</h1><p>" + text + "</p></body></html>\n"};
}

} // namespace

Reply webPage(const std::string &path)
{
    if (path == "/")
        return page(200, "Velmora", "A private way through the network. Create your account here.");
    if (path == "/support")
        return page(200, "Velmora support", "How can we help?");
    return page(404, "Not found", "This page does not exist.");
}

} // namespace velmora::lab
