// What a shared libquil shows. It is compiled with everything hidden; the headers that others
// include open the library's namespace with QUIL_PUBLIC, which shows what is declared there.
#pragma once

#define QUIL_PUBLIC [[gnu::visibility("default")]]
