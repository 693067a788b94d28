-- Damage to a store with one message, each with the cause in the error of listing it. % stands for the record UUID.

-- the store is damaged: in the message with the record UUID % type is 3, not between 0 and 2; to remove it, run in psql: DELETE FROM orvex.messages WHERE record_uuid = '%'
ALTER TABLE orvex.messages DROP CONSTRAINT messages_type_check;
UPDATE orvex.messages SET type = 3;

-- the store is damaged: in the message with the record UUID % message_file is "http://x/\u{1B}[2J", which is not a file URL; to remove it, run in psql: DELETE FROM orvex.messages WHERE record_uuid = '%'
UPDATE orvex.messages SET message_file = E'http://x/\x1b[2J';

-- the store is damaged: in the message with the record UUID % duration is not a finite number; to remove it, run in psql: DELETE FROM orvex.messages WHERE record_uuid = '%'
UPDATE orvex.messages SET duration = 'NaN';

-- the store is damaged: in the message with the record UUID % created is 253402300800000, not between -62167219200000 and 253402300799999; to remove it, run in psql: DELETE FROM orvex.messages WHERE record_uuid = '%'
UPDATE orvex.messages SET created = 253402300800000;

-- its tables are not those of a message store: sender has more than 16777216 bytes
UPDATE orvex.messages SET sender = convert_to(repeat('x', 16777217), 'UTF8');

-- its tables are not those of a message store: sim_id is NULL
ALTER TABLE orvex.messages ALTER sim_id DROP NOT NULL;
UPDATE orvex.messages SET sim_id = NULL;

-- its tables are not those of a message store: quality is of another type
ALTER TABLE orvex.messages ALTER quality TYPE bigint;

-- its tables are not those of a message store: record_uuid is of another type
ALTER TABLE orvex.messages ALTER record_uuid TYPE text;

-- column "mailbox" does not exist
ALTER TABLE orvex.messages RENAME mailbox TO letterbox;

-- the schema orvex in that database is not that of a message store; choose another database
DELETE FROM orvex.settings;

-- it was written by a newer version of this program (schema 2, this one knows up to 1); use that version
UPDATE orvex.settings SET value = 2 WHERE name = 'schemaVersion';

-- so; \u{1B}[2Jon
-- The planner runs code of the tables' owner, in a read-only transaction. The server's message is shown on one line and
-- without escapes.
CREATE FUNCTION f(int) RETURNS int IMMUTABLE LANGUAGE sql RETURN 1;
CREATE INDEX ON orvex.messages (f(1));
CREATE OR REPLACE FUNCTION f(int) RETURNS int IMMUTABLE LANGUAGE plpgsql
    AS $$ BEGIN RAISE E'so\n\x1b[2J%', current_setting('transaction_read_only'); END $$;
