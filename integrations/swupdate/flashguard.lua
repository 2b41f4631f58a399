-- SPDX-License-Identifier: MIT
--
-- SWUpdate handler for a microcontroller that flashguard programs. Goes to
-- /usr/share/lua/5.3/flashguard.lua; swupdate_handlers.lua beside it says require("flashguard").
--
-- In sw-description:   images: ({ filename = "firmware.hex"; type = "flashguard"; sha256 = "..."; })
-- properties: { force = "true"; } programs even if the firmware has the image's version.

local swupdate = require("swupdate")

-- The configuration names the program to call, as a shell's words.
local kProgram = "FLASHGUARD=flashguard; " ..
    "[ ! -r /etc/flashguard/engine.conf ] || . /etc/flashguard/engine.conf; $FLASHGUARD"

-- A word for the shell.
local function quoted(text)
    return "'" .. text:gsub("'", "'\\''") .. "'"
end

-- What each phase has of the whole, in percent where it begins and where it ends. A phase that is not
-- named here has no measure.
local kShares = {
    ["prove-erased"] = { 5, 15 },
    write = { 15, 50 },
    prove = { 50, 95 },
    commit = { 95, 99 },
}

-- The percentage of the whole that this line of JSON stands for, or nil.
local function percent(line)
    local share = kShares[line:match('"phase":%s*"([^"]*)"')]
    local done, total = line:match('"done":%s*(%d+)'), line:match('"total":%s*(%d+)')
    if not share or not done or not total or tonumber(total) == 0 then
        return nil
    end
    return math.floor(share[1] + (share[2] - share[1]) * done / total)
end

-- Runs the program and hands each line of its output to `take`. Returns whether it ended with 0.
local function run(words, take)
    local pipe = io.popen(kProgram .. " " .. words, "r")
    if not pipe then
        return false
    end
    for line in pipe:lines() do
        take(line)
    end
    return (pipe:close()) == true
end

local function remove(...)
    for _, path in ipairs({ ... }) do
        os.remove(path)
    end
end

-- The first line of a file, which is the reason of a failure.
local function first_line(path)
    local file = io.open(path, "r")
    local line = file and file:read("l")
    if file then
        file:close()
    end
    return line or "flashguard said nothing"
end

local function install(image)
    local path, complaint = os.tmpname(), os.tmpname()
    -- Copies, and compares the check sum of sw-description on the way.
    local failed, message = image:copy2file(path)
    if failed ~= 0 then
        remove(path, complaint)
        swupdate.error("flashguard: " .. tostring(message or "the image could not be copied"))
        return 1
    end
    local force = image.properties and image.properties.force == "true"
    local words = "--json install " .. (force and "--force " or "") .. quoted(path) ..
        " 2>" .. quoted(complaint)
    local shown, verdict = -1, ""
    local done = run(words, function(line)
        verdict = line
        local now = percent(line)
        if now and now > shown then
            shown = now
            swupdate.progress_update(now)
        end
    end)
    if done then
        swupdate.progress_update(100)
        swupdate.info("flashguard: " .. (verdict:match('"outcome":%s*"([^"]*)"') or "done"))
    else
        swupdate.error(first_line(complaint))
    end
    remove(path, complaint)
    return done and 0 or 1
end

swupdate.register_handler("flashguard", install, swupdate.HANDLER_MASK.IMAGE_HANDLER)
