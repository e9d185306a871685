// The character entities of HTML 4.01 for ISO 8859-1, in the order of their code points.
#pragma once

#include <array>
#include <string_view>

namespace brimle {

// The entry at index i stands for the character 160 + i. Markup's own entities (&amp; &lt; &gt; &quot;) are not here.
inline constexpr std::array<std::string_view, 96> Latin1Entities{
    "&nbsp;",   "&iexcl;",  "&cent;",   "&pound;",  "&curren;", "&yen;",    "&brvbar;", "&sect;",   "&uml;",
    "&copy;",   "&ordf;",   "&laquo;",  "&not;",    "&shy;",    "&reg;",    "&macr;",   "&deg;",    "&plusmn;",
    "&sup2;",   "&sup3;",   "&acute;",  "&micro;",  "&para;",   "&middot;", "&cedil;",  "&sup1;",   "&ordm;",
    "&raquo;",  "&frac14;", "&frac12;", "&frac34;", "&iquest;", "&Agrave;", "&Aacute;", "&Acirc;",  "&Atilde;",
    "&Auml;",   "&Aring;",  "&AElig;",  "&Ccedil;", "&Egrave;", "&Eacute;", "&Ecirc;",  "&Euml;",   "&Igrave;",
    "&Iacute;", "&Icirc;",  "&Iuml;",   "&ETH;",    "&Ntilde;", "&Ograve;", "&Oacute;", "&Ocirc;",  "&Otilde;",
    "&Ouml;",   "&times;",  "&Oslash;", "&Ugrave;", "&Uacute;", "&Ucirc;",  "&Uuml;",   "&Yacute;", "&THORN;",
    "&szlig;",  "&agrave;", "&aacute;", "&acirc;",  "&atilde;", "&auml;",   "&aring;",  "&aelig;",  "&ccedil;",
    "&egrave;", "&eacute;", "&ecirc;",  "&euml;",   "&igrave;", "&iacute;", "&icirc;",  "&iuml;",   "&eth;",
    "&ntilde;", "&ograve;", "&oacute;", "&ocirc;",  "&otilde;", "&ouml;",   "&divide;", "&oslash;", "&ugrave;",
    "&uacute;", "&ucirc;",  "&uuml;",   "&yacute;", "&thorn;",  "&yuml;",
};

} // namespace brimle
