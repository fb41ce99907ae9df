// The guide as XMLTV (xmltv.dtd). Times are UTC, as "20260301190000 +0000".
#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <pugixml.hpp>
#include <sstream>

#include "export/lineup.h"
#include "output/escape.h"
#include "protocol/channels.h"
#include "protocol/moment.h"

namespace zulctl {

namespace {

/// Replaces control characters, most of which XML 1.0 can't represent (2.2, Char), by blanks, and non-characters and
/// replacement characters by question marks.
std::string XmlText(const std::string& text) {
    std::string clean = Blanked(text);
    for (const char* lost : {"\uFFFD", "\uFFFE", "\uFFFF"}) {
        for (std::size_t at = 0; (at = clean.find(lost, at)) != std::string::npos;) clean.replace(at, 3, "?");
    }
    const std::size_t first = clean.find_first_not_of(' ');
    return first == std::string::npos ? "" : clean.substr(first, clean.find_last_not_of(' ') - first + 1);
}

std::string TimeText(Minutes moment) {
    std::string text = DateText(moment);
    std::erase_if(text, [](char c) { return c < '0' || c > '9'; });
    return text + "00 +0000";
}

void AddText(pugi::xml_node parent, const char* name, const std::string& text) {
    parent.append_child(name).text().set(XmlText(text).c_str());
}

void AddChannel(pugi::xml_node tv, const LineupEntry& entry) {
    pugi::xml_node channel = tv.append_child("channel");
    channel.append_attribute("id") = entry.Id().c_str();
    AddText(channel, "display-name", CallName(entry.channel));
    const std::string number = entry.channel.NumberText();
    if (!number.empty() && number != CallName(entry.channel)) AddText(channel, "display-name", number);
}

void AddEvent(pugi::xml_node tv, const std::string& channel, const GuideEvent& event) {
    pugi::xml_node programme = tv.append_child("programme");
    programme.append_attribute("start") = TimeText(event.start).c_str();
    // A duration of 0 means unknown.
    if (event.duration.count() > 0) programme.append_attribute("stop") = TimeText(event.End()).c_str();
    programme.append_attribute("channel") = channel.c_str();
    AddText(programme, "title", XmlText(event.title).empty() ? "(no title)" : event.title);
    if (!XmlText(event.text).empty()) AddText(programme, "desc", event.text);
}

}  // namespace

std::string XmltvText(const Lineup& lineup) {
    std::map<std::string, const LineupEntry*> best;  // for each programme, the board with the most events
    for (const LineupEntry& entry : lineup) {
        const LineupEntry*& known = best[entry.Id()];
        if (known == nullptr || known->events.size() < entry.events.size()) known = &entry;
    }
    std::vector<const LineupEntry*> entries;
    for (const LineupEntry& entry : lineup) {
        // The format's validator requires an event for each channel.
        if (best[entry.Id()] == &entry && !entry.events.empty()) entries.push_back(&entry);
    }
    pugi::xml_document document;
    pugi::xml_node declaration = document.append_child(pugi::node_declaration);
    declaration.append_attribute("version") = "1.0";
    declaration.append_attribute("encoding") = "UTF-8";
    document.append_child(pugi::node_doctype).set_value("tv SYSTEM \"xmltv.dtd\"");
    pugi::xml_node tv = document.append_child("tv");
    tv.append_attribute("generator-info-name") = "zulctl";
    for (const LineupEntry* entry : entries) AddChannel(tv, *entry);
    for (const LineupEntry* entry : entries) {
        for (const GuideEvent& event : entry->events) AddEvent(tv, entry->Id(), event);
    }
    std::ostringstream text;
    document.save(text, "  ", pugi::format_indent, pugi::encoding_utf8);
    return text.str();
}

}  // namespace zulctl
