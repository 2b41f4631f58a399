-- SPDX-License-Identifier: MIT
-- SWUpdate loads this file at its start. Where there is one already, add the line below to it.
require("flashguard")
