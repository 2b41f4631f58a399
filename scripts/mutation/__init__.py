# SPDX-License-Identifier: MIT
"""Mutation testing of the tool: small damages, one at a time, that the tests should notice."""
