// key_text.h - the keys of an object path as one flat text, the member "key" of the request and
// response documents.
//
// Form written by getCMKey, keys in index order and nothing between entries:
//   string key     name=value,            (every entry ends with ",", the last one too)
//   reference key  (name=<path text>,)    where <path text> is namespace:Class.k=v,k=v as the
//                                         object library prints a path
// There is no escaping: a value holding ",", "=", "(" or ")" does not survive the trip.
//
// Both functions write "Enter function = <name>" / "Exit  function = <name>" at level 4.
#ifndef CMPIUTILITY_JSON_KEY_TEXT_H
#define CMPIUTILITY_JSON_KEY_TEXT_H

#include <cmpiutility/records.h>
#include <json/json.h>

#include "json/frame_view.h"

// Writes the keys of the request's COP (or, without a request, of the response's objectPath)
// into document["key"]. Only string and reference keys can be carried.
// Returns 0 (also for a path without keys, which writes no "key" member at all), or 1 after
// "ERROR: __getCMKey#262: 'unable to get the key'" for a key without a name or of another type;
// the document is then unchanged.
int getCMKey(ClientReq *request, ServerResp *response, Json::Value &document);

// Reads document["key"] (absent or null: the empty text) and adds its keys to objectPath: as
// CMPI_chars string keys in the plain form, or, when the text holds both "(" and ")", one
// CMPI_ref key per parenthesised group (string keys outside the groups are then not added).
// Returns 0, or 1 after one level-2 line; keys added before a failure stay on the path.
int addCMKey(CMPIObjectPath *objectPath, const Json::Value &document);

// The same for a frame read by FrameView (json/frame_view.h): the same keys, lines and result.
int addCMKey(CMPIObjectPath *objectPath, const cmpiutility::FrameNode &document);

#endif  // CMPIUTILITY_JSON_KEY_TEXT_H
