#include "receiver_scan/report/page_frame.h"

#include "receiver_scan/report/html_text.h"
#include "receiver_scan/report/page_parts.h"

namespace receiver {

std::string PageBeginning(const PageHead& head) {
    std::string page =
        "<!DOCTYPE html>\n<html lang=en>\n<head>\n<meta charset=utf-8>\n"
        "<meta name=viewport content=\"width=device-width, initial-scale=1\">\n"
        "<meta name=referrer content=no-referrer>\n"
        "<meta http-equiv=Content-Security-Policy content=\"default-src 'none'; "
        "style-src 'unsafe-inline'; ";
    if (head.hasScripts) page += "script-src 'unsafe-inline'; ";
    page += "img-src data:\">\n<meta name=color-scheme content=\"light dark\">\n<title>" +
            EscapeHtml(head.title) + "</title>\n<style>\n";
    page.append(head.furtherStyle).append("\n").append(page_parts::kStyle);
    return page + "</style>\n</head>\n<body>\n<header><p class=kicker>" + EscapeHtml(head.kind) +
           "</p><h1>" + EscapeHtml(head.headline) + "</h1>\n<p>" + EscapeHtml(head.summary) +
           "</p></header>\n<main>\n";
}

}  // namespace receiver
