-- SPDX-License-Identifier: GPL-3.0-or-later
-- Has wrk ask for the paths of a file, one after the other: wrk ... URL -- FILE
local requests, last = {}, 0

function init(arguments)
  for path in io.lines(arguments[1]) do
    requests[#requests + 1] = wrk.format("GET", path)
  end
end

function request()
  last = last % #requests + 1
  return requests[last]
end
