// A part of iconv that FreeXL includes and whose functions it does not call.
#pragma once
